#pragma once

#include <optional>

#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/platform/DieTemperatureSensors.hpp"
#include "TallowbeckCore/platform/ProcessThermalState.hpp"
#include "TallowbeckCore/platform/RegistryProperties.hpp"
#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/platform/SystemValues.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "TallowbeckCore/temperature/TemperatureReading.hpp"

namespace tallowbeck {

// The temperatures of a notebook: the battery's from the registry, the thermal pressure the
// system reports, the lid state, and on request the chip's die temperatures. Each reading is
// independent of the others; whatever cannot be read is absent, nominal or false.
//
// The die temperatures come from the system's own sensors where it has them (Linux), each die's
// being the hottest value its sensors show within 1 to 125 °C, and from the system management
// controller where it has none (macOS).
class MacTemperatureSensor final : public TemperatureReading {
public:
    // The brand string is read here, once, to decide whether the chip can be read at all.
    explicit MacTemperatureSensor(RegistryProperties& registry = RegistryProperties::system(),
                                  ProcessThermalState& thermalState = ProcessThermalState::system(),
                                  SMCUserClient& smc = SMCUserClient::system(),
                                  SystemValues& values = SystemValues::system(),
                                  DieTemperatureSensors& dies = DieTemperatureSensors::system());

    // Battery, thermal state and lid, read in that order. The chip temperatures are left absent:
    // a caller that wants them asks `readChipTemperatures` and fills them in.
    TemperatureSample readSample(bool sessionActive) noexcept override;
    ChipTemperatureReading readChipTemperatures() noexcept override;

    // The battery's temperature in degrees Celsius, when it is a number (or boolean) within 0 to
    // 100 °C.
    std::optional<double> readBatteryCelsius() const noexcept;
    SystemThermalState currentThermalState() const noexcept;
    // True when the root domain reports the clamshell as closed: a non-zero number or true.
    bool readLidClosed() const noexcept;

    SMCChipTemperatureSensor chipSensor;

private:
    RegistryProperties& registry_;
    ProcessThermalState& thermalState_;
    SMCUserClient& smc_;
    DieTemperatureSensors& dies_;
};

}  // namespace tallowbeck
