#pragma once

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {

// Decides on every tick of a fan boost whether the fans go back to automatic control, are held at
// maximum, or whether the boost must stop because its inputs cannot be trusted. Once boosting it
// keeps boosting until both chips are well below their thresholds.
struct FanBoostPolicy {
    enum class Action { automatic, maximum, stop };

    // How far below its threshold each chip must fall before the fans are released; the same for
    // both chips, whatever the thresholds.
    static constexpr double hysteresisCelsius = 8.0;
    // The oldest reading acted on, in seconds; a reading from the future is not acted on.
    static constexpr double longestReadingAge = 10.0;
    static constexpr double lowestPlausibleCelsius = 1.0;
    static constexpr double highestPlausibleCelsius = 125.0;

    // `now` is wall-clock time, seconds since 1970-01-01 UTC, like the reading's time.
    Action action(const FanBoostConfiguration& configuration, const ChipTemperatureReading& reading,
                  SystemThermalState state, double now) noexcept;

    bool boosting = false;
};

}  // namespace tallowbeck
