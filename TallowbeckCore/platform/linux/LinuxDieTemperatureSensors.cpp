#include "TallowbeckCore/platform/linux/LinuxDieTemperatureSensors.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;

constexpr double millidegreesPerDegree = 1000.0;
constexpr std::string_view inputPrefix = "temp";
constexpr std::string_view inputSuffix = "_input";
constexpr std::string_view packageLabelPrefix = "Package id ";
constexpr std::array<std::string_view, 3> graphicsDrivers{"amdgpu", "nouveau", "i915"};

struct Sensor {
    std::optional<std::string> label;
    double celsius = 0.0;
};

// "temp3_input" names sensor "temp3"; other attributes name nothing.
std::optional<std::string> sensorOfInput(std::string_view fileName) {
    if (!fileName.starts_with(inputPrefix) || !fileName.ends_with(inputSuffix)) {
        return std::nullopt;
    }
    return std::string(fileName.substr(0, fileName.size() - inputSuffix.size()));
}

std::optional<double> readCelsius(const fs::path& input) noexcept {
    const std::optional<std::string> text = KernelFile::readAttribute(input);
    const std::optional<std::int64_t> millidegrees =
        text ? KernelFile::wholeNumber<std::int64_t>(*text) : std::nullopt;
    if (!millidegrees) {
        return std::nullopt;
    }
    return static_cast<double>(*millidegrees) / millidegreesPerDegree;
}

// The monitor's readable temperature sensors.
std::vector<Sensor> sensorsOf(const fs::path& monitor) {
    std::vector<Sensor> sensors;
    std::error_code error;
    for (fs::directory_iterator entry(monitor, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::optional<std::string> sensor = sensorOfInput(entry->path().filename().native());
        if (!sensor) {
            continue;
        }
        if (const std::optional<double> celsius = readCelsius(entry->path())) {
            sensors.push_back({.label = KernelFile::readAttribute(monitor / (*sensor + "_label")),
                               .celsius = *celsius});
        }
    }
    return sensors;
}

template <typename Accepts>
void appendWhere(const std::vector<Sensor>& sensors, std::vector<double>& values, Accepts accepts) {
    for (const Sensor& sensor : sensors) {
        if (accepts(sensor)) {
            values.push_back(sensor.celsius);
        }
    }
}

bool isLabelled(const Sensor& sensor, std::string_view label) { return sensor.label == label; }

void appendCoretemp(const std::vector<Sensor>& sensors, std::vector<double>& cpu) {
    appendWhere(sensors, cpu, [](const Sensor& sensor) {
        return sensor.label && sensor.label->starts_with(packageLabelPrefix);
    });
}

void appendK10temp(const std::vector<Sensor>& sensors, std::vector<double>& cpu) {
    const bool hasDie = std::ranges::any_of(
        sensors, [](const Sensor& sensor) { return isLabelled(sensor, "Tdie"); });
    const std::string_view label = hasDie ? "Tdie" : "Tctl";
    appendWhere(sensors, cpu, [label](const Sensor& sensor) { return isLabelled(sensor, label); });
}

void appendGraphics(const std::vector<Sensor>& sensors, std::vector<double>& gpu) {
    const bool labelled =
        std::ranges::any_of(sensors, [](const Sensor& sensor) { return sensor.label.has_value(); });
    appendWhere(sensors, gpu, [labelled](const Sensor& sensor) {
        return !labelled || isLabelled(sensor, "edge");
    });
}

void appendMonitor(const fs::path& monitor, DieTemperatureSensors::Readings& readings) {
    const std::optional<std::string> driver = KernelFile::readAttribute(monitor / "name");
    if (!driver) {
        return;
    }
    if (*driver == "coretemp") {
        appendCoretemp(sensorsOf(monitor), readings.cpuCelsius);
    } else if (*driver == "k10temp") {
        appendK10temp(sensorsOf(monitor), readings.cpuCelsius);
    } else if (std::ranges::find(graphicsDrivers, *driver) != graphicsDrivers.end()) {
        appendGraphics(sensorsOf(monitor), readings.gpuCelsius);
    }
}

}  // namespace

LinuxDieTemperatureSensors::LinuxDieTemperatureSensors(const fs::path& root)
    : hwmonFolder_(root / "sys/class/hwmon") {}

std::optional<DieTemperatureSensors::Readings> LinuxDieTemperatureSensors::read() noexcept {
    Readings readings;
    std::error_code error;
    for (fs::directory_iterator entry(hwmonFolder_, error), end; !error && entry != end;
         entry.increment(error)) {
        appendMonitor(entry->path(), readings);
    }
    return readings;
}

DieTemperatureSensors& DieTemperatureSensors::system() {
    static LinuxDieTemperatureSensors instance;
    return instance;
}

}  // namespace tallowbeck
