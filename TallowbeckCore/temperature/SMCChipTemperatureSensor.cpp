#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"

#include <algorithm>
#include <span>

#include "TallowbeckCore/support/UTF8.hpp"
#include "TallowbeckCore/temperature/SMCConnection.hpp"

namespace tallowbeck {
namespace {

constexpr const char* brandStringName = "machdep.cpu.brand_string";
constexpr std::size_t longestBrandString = 255;

// Every key is read, also after a success: the hottest cluster of the die stands for the chip.
// On equal values the earlier key's stays.
std::optional<double> hottestKey(const SMCConnection& connection,
                                 std::span<const std::string_view> keys) noexcept {
    std::optional<double> hottest;
    for (const std::string_view key : keys) {
        hottest = ChipTemperatureReading::hotter(hottest, connection.readKeyFloat(key));
    }
    return hottest;
}

// Completed now: the time stamp is taken after the last key.
ChipTemperatureReading completedReading(const std::function<double()>& wallClock,
                                        std::optional<double> cpuCelsius,
                                        std::optional<double> gpuCelsius) noexcept {
    return {.recordedAt = wallClock(), .cpuCelsius = cpuCelsius, .gpuCelsius = gpuCelsius};
}

}  // namespace

SMCChipTemperatureSensor::SMCChipTemperatureSensor(SystemValues& values)
    : supported(std::ranges::find(supportedChipNames, readBrandString(values)) !=
                supportedChipNames.end()) {}

ChipTemperatureReading SMCChipTemperatureSensor::readTemperatures(
    SMCUserClient& smc, const std::function<double()>& wallClock) const noexcept {
    if (!supported) {
        return completedReading(wallClock, std::nullopt, std::nullopt);
    }
    const std::optional<SMCConnection> connection = SMCConnection::open(smc);
    if (!connection) {
        return completedReading(wallClock, std::nullopt, std::nullopt);
    }
    const std::optional<double> cpuCelsius = hottestKey(*connection, chipSensorCPUKeys);
    const std::optional<double> gpuCelsius = hottestKey(*connection, chipSensorGPUKeys);
    return completedReading(wallClock, cpuCelsius, gpuCelsius);
}

std::string SMCChipTemperatureSensor::readBrandString(SystemValues& values) noexcept {
    const std::optional<std::size_t> length = values.valueLength(brandStringName);
    if (!length || *length == 0 || *length > longestBrandString) {
        return {};
    }
    std::array<char, longestBrandString> buffer{};
    if (!values.readValue(brandStringName, std::span(buffer).first(*length))) {
        return {};
    }
    const std::string_view text(buffer.data(), *length);
    return UTF8::fromZeroTerminated(text);
}

}  // namespace tallowbeck
