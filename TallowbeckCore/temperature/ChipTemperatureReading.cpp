#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

#include <cmath>

namespace tallowbeck {
namespace {

constexpr double criticalLimitCelsius = 100.0;

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

}  // namespace tallowbeck
