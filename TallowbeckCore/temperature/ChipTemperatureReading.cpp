#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

#include <cmath>

namespace tallowbeck {
namespace {

constexpr double criticalLimitCelsius = 100.0;
constexpr double lowestPlausibleCelsius = 1.0;
constexpr double highestPlausibleCelsius = 125.0;

std::optional<double> finiteValue(std::optional<double> celsius) noexcept {
    if (celsius && std::isfinite(*celsius)) {
        return celsius;
    }
    return std::nullopt;
}

}  // namespace

std::optional<double> ChipTemperatureReading::hottestCelsius() const noexcept {
    const std::optional<double> cpu = finiteValue(cpuCelsius);
    const std::optional<double> gpu = finiteValue(gpuCelsius);
    if (gpu && (!cpu || *gpu > *cpu)) {
        return gpu;
    }
    return cpu;
}

bool ChipTemperatureReading::isAboveCriticalLimit() const noexcept {
    const std::optional<double> hottest = hottestCelsius();
    return hottest && *hottest > criticalLimitCelsius;
}

// NaN fails both comparisons and the infinities lie outside the range, so only finite values
// pass.
std::optional<double> ChipTemperatureReading::plausibleCelsius(double celsius) noexcept {
    if (celsius >= lowestPlausibleCelsius && celsius <= highestPlausibleCelsius) {
        return celsius;
    }
    return std::nullopt;
}

}  // namespace tallowbeck
