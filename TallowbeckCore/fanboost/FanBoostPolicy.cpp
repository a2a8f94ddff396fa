#include "TallowbeckCore/fanboost/FanBoostPolicy.hpp"

namespace tallowbeck {
namespace {

// NaN fails both comparisons, so a NaN age is never fresh.
bool isFresh(const ChipTemperatureReading& reading, double now) noexcept {
    const double age = now - reading.recordedAt;
    return age >= 0.0 && age <= FanBoostPolicy::longestReadingAge;
}

bool isPlausible(double celsius) noexcept {
    return celsius >= FanBoostPolicy::lowestPlausibleCelsius &&
           celsius <= FanBoostPolicy::highestPlausibleCelsius;
}

bool isTrustworthy(const ChipTemperatureReading& reading, double now) noexcept {
    return isFresh(reading, now) && reading.cpuCelsius && reading.gpuCelsius &&
           isPlausible(*reading.cpuCelsius) && isPlausible(*reading.gpuCelsius);
}

}  // namespace

FanBoostPolicy::Action FanBoostPolicy::action(const FanBoostConfiguration& configuration,
                                              const ChipTemperatureReading& reading,
                                              SystemThermalState state, double now) noexcept {
    if (!configuration.isValid() || !isTrustworthy(reading, now)) {
        boosting = false;
        return Action::stop;
    }
    const double cpu = *reading.cpuCelsius;
    const double gpu = *reading.gpuCelsius;
    if (isThermalPressure(state) || configuration.cpuThresholdCelsius < cpu ||
        configuration.gpuThresholdCelsius < gpu) {
        boosting = true;
        return Action::maximum;
    }
    if (configuration.cpuThresholdCelsius - hysteresisCelsius > cpu &&
        configuration.gpuThresholdCelsius - hysteresisCelsius > gpu) {
        boosting = false;
        return Action::automatic;
    }
    return boosting ? Action::maximum : Action::automatic;
}

}  // namespace tallowbeck
