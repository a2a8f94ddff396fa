#pragma once

#include <optional>

#include "TallowbeckCore/history/SystemThermalState.hpp"

namespace tallowbeck {

// Decides, update by update, whether a keep-awake session must end under thermal pressure. A
// stretch of pressure is tolerated for a grace period, but only while a trustworthy, cool reading
// vouches for the machine; without one, pressure ends the session at once.
class SessionThermalSafety {
public:
    static constexpr double gracePeriod = 30.0;       // seconds
    static constexpr double coolReadingLimit = 35.0;  // °C, exclusive

    // True: end the session now. `now` is in seconds on a clock the caller keeps across calls.
    bool evaluate(SystemThermalState state, std::optional<double> reading, double now) noexcept;

    // When the current stretch of pressure began; nothing while there is none.
    std::optional<double> pressureStartedAt() const noexcept { return pressureStartedAt_; }
    // Seconds of grace left, for display; nothing when no grace period is running.
    std::optional<double> graceRemaining() const noexcept { return graceRemaining_; }

private:
    std::optional<double> pressureStartedAt_;
    std::optional<double> graceRemaining_;
};

}  // namespace tallowbeck
