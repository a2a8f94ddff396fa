#include "TallowbeckCore/session/SessionThermalSafety.hpp"

#include <cmath>

namespace tallowbeck {

namespace {

bool isCoolReading(std::optional<double> reading) noexcept {
    return reading && std::isfinite(*reading) && *reading >= 0.0 &&
           *reading < SessionThermalSafety::coolReadingLimit;
}

}  // namespace

bool SessionThermalSafety::evaluate(SystemThermalState state, std::optional<double> reading,
                                    double now) noexcept {
    if (!isThermalPressure(state)) {
        pressureStartedAt_.reset();
        graceRemaining_.reset();
        return false;
    }
    const double start = pressureStartedAt_.value_or(now);
    pressureStartedAt_ = start;
    if (!isCoolReading(reading)) {
        graceRemaining_.reset();
        return true;
    }
    const double elapsed = now - start;
    if (elapsed < 0.0) {
        // The clock went backwards: grant the whole period rather than guess.
        graceRemaining_ = gracePeriod;
        return false;
    }
    const double left = gracePeriod - elapsed;
    if (left > 0.0) {
        graceRemaining_ = left;
        return false;
    }
    graceRemaining_.reset();
    return true;
}

}  // namespace tallowbeck
