#pragma once

#include <vector>

#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {

// The fan controller as the fan boost session drives it. The operations that fail throw
// FanBoostHardwareError.
class FanBoostControlling {
public:
    virtual ~FanBoostControlling() = default;

    // Both fans, fan 0 first.
    virtual std::vector<FanSpeed> readFans() = 0;
    // Never fails: what cannot be read is absent.
    virtual ChipTemperatureReading readChips() noexcept = 0;
    // Drives both fans to their maximum speed and verifies that they hold it.
    virtual void setMaximum() = 0;
    // Hands both fans back to automatic control and verifies it.
    virtual void restoreAutomatic() = 0;
};

}  // namespace tallowbeck
