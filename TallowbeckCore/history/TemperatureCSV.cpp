#include "TallowbeckCore/history/TemperatureCSV.hpp"

#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "TallowbeckCore/support/InternetDateTime.hpp"

namespace tallowbeck::TemperatureCSV {

namespace {

constexpr std::string_view header =
    "timestamp,battery_celsius,thermal_state,session_active,lid_closed,cpu_max_celsius,"
    "gpu_max_celsius";

// std::to_chars with a precision rounds exactly as printf("%.2f") does in the C locale, and never
// consults the process's locale, so the decimal separator is always a point.
void appendCelsius(std::string& line, std::optional<double> celsius) {
    if (!celsius) {
        return;
    }
    // Room for the largest double written in full: 309 digits, sign, point and two decimals.
    std::array<char, 320> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), *celsius,
                                      std::chars_format::fixed, 2);
    line.append(buffer.data(), result.ptr);
}

std::string_view flag(bool value) { return value ? "true" : "false"; }

// A time that no ISO 8601 date-time can express leaves the field empty rather than failing the
// whole export; a history read from its files never holds one.
void appendTimestamp(std::string& line, double recordedAt) {
    if (InternetDateTime::canWrite(recordedAt)) {
        line += InternetDateTime::text(recordedAt);
    }
}

void appendLine(std::string& text, const TemperatureSample& sample) {
    text += '\n';
    appendTimestamp(text, sample.recordedAt());
    text += ',';
    appendCelsius(text, sample.batteryCelsius());
    text += ',';
    text += textValue(sample.thermalState());
    text += ',';
    text += flag(sample.sessionActive());
    text += ',';
    text += flag(sample.lidClosed());
    text += ',';
    appendCelsius(text, sample.cpuCelsius());
    text += ',';
    appendCelsius(text, sample.gpuCelsius());
}

}  // namespace

std::string exportText(std::span<const TemperatureSample> samples) {
    std::string text(header);
    for (const TemperatureSample& sample : samples) {
        appendLine(text, sample);
    }
    return text;
}

}  // namespace tallowbeck::TemperatureCSV
