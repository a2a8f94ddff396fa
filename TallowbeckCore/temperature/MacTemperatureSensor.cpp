#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"

#include "TallowbeckCore/support/UUID.hpp"
#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck {
namespace {

using Level = ProcessThermalState::Level;

constexpr double lowestBatteryCelsius = 0.0;
constexpr double highestBatteryCelsius = 100.0;

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
                                           SystemValues& values)
    : chipSensor(values), registry_(registry), thermalState_(thermalState), smc_(smc) {}

TemperatureSample MacTemperatureSensor::readSample(bool sessionActive) noexcept {
    const std::optional<double> batteryCelsius = readBatteryCelsius();
    const SystemThermalState thermalState = currentThermalState();
    const bool lidClosed = readLidClosed();
    return TemperatureSample(UUID::random(), WallClock::now(), batteryCelsius, std::nullopt,
                             std::nullopt, thermalState, sessionActive, lidClosed);
}

ChipTemperatureReading MacTemperatureSensor::readChipTemperatures() noexcept {
    return chipSensor.readTemperatures(smc_);
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
