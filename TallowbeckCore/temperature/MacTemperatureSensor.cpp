#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"

#include <string_view>
#include <vector>

#include "TallowbeckCore/support/UUID.hpp"
#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck {
namespace {

using Level = ProcessThermalState::Level;

constexpr double lowestBatteryCelsius = 0.0;
constexpr double highestBatteryCelsius = 100.0;

// Each die's sensors measure its hottest spots; the hottest believable one stands for the die.
std::optional<double> hottestPlausible(const std::vector<double>& values) noexcept {
    std::optional<double> hottest;
    for (const double value : values) {
        hottest = ChipTemperatureReading::hotter(hottest,
                                                 ChipTemperatureReading::plausibleCelsius(value));
    }
    return hottest;
}

// A value outside the range (NaN included) is a faulty sensor, not a temperature.
std::optional<double> plausibleBatteryCelsius(double celsius) noexcept {
    if (!(celsius >= lowestBatteryCelsius && celsius <= highestBatteryCelsius)) {
        return std::nullopt;
    }
    return celsius;
}

}  // namespace

MacTemperatureSensor::MacTemperatureSensor(RegistryProperties& registry,
                                           ProcessThermalState& thermalState, SMCUserClient& smc,
                                           SystemValues& values, DieTemperatureSensors& dies)
    : chipSensor(values),
      registry_(registry),
      thermalState_(thermalState),
      smc_(smc),
      dies_(dies) {}

TemperatureSample MacTemperatureSensor::readSample(bool sessionActive) noexcept {
    const std::optional<double> batteryCelsius = readBatteryCelsius();
    const SystemThermalState thermalState = currentThermalState();
    const bool lidClosed = readLidClosed();
    return TemperatureSample(UUID::random(), WallClock::now(), batteryCelsius, std::nullopt,
                             std::nullopt, thermalState, sessionActive, lidClosed);
}

ChipTemperatureReading MacTemperatureSensor::readChipTemperatures() noexcept {
    const std::optional<DieTemperatureSensors::Readings> readings = dies_.read();
    if (!readings) {
        return chipSensor.readTemperatures(smc_);
    }
    const std::optional<double> cpuCelsius = hottestPlausible(readings->cpuCelsius);
    const std::optional<double> gpuCelsius = hottestPlausible(readings->gpuCelsius);
    return {.recordedAt = WallClock::now(), .cpuCelsius = cpuCelsius, .gpuCelsius = gpuCelsius};
}

std::optional<double> MacTemperatureSensor::readBatteryCelsius() const noexcept {
    const std::optional<double> temperature =
        registry_
            .property(RegistryProperties::batteryService, RegistryProperties::batteryTemperatureKey)
            .asNumber();
    if (!temperature) {
        return std::nullopt;
    }
    return plausibleBatteryCelsius(*temperature /
                                   RegistryProperties::batteryTemperatureUnitsPerDegree);
}

SystemThermalState MacTemperatureSensor::currentThermalState() const noexcept {
    switch (thermalState_.level()) {
        case Level::nominal:
            return SystemThermalState::nominal;
        case Level::fair:
            return SystemThermalState::fair;
        case Level::serious:
            return SystemThermalState::serious;
        case Level::critical:
            return SystemThermalState::critical;
    }
    return SystemThermalState::nominal;
}

bool MacTemperatureSensor::readLidClosed() const noexcept {
    const std::optional<double> clamshell =
        registry_
            .property(RegistryProperties::rootDomainService, RegistryProperties::clamshellStateKey)
            .asNumber();
    return clamshell && *clamshell != 0.0;
}

}  // namespace tallowbeck
