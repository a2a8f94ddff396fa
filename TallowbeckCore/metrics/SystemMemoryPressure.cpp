#include "TallowbeckCore/metrics/SystemMemoryPressure.hpp"

#include <algorithm>

#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"

namespace tallowbeck {

namespace {

constexpr double normalBandTop = 0.59;
constexpr double warningBandBottom = 0.6;
constexpr double warningBandTop = 0.84;
constexpr double criticalBandBottom = 0.85;

// NaN is not above 0 either, so it becomes 0 too.
double unitFraction(double value) noexcept { return value > 0.0 ? std::min(value, 1.0) : 0.0; }

}  // namespace

std::string_view textValue(SystemMemoryPressure level) noexcept {
    switch (level) {
        case SystemMemoryPressure::warning:
            return "warning";
        case SystemMemoryPressure::critical:
            return "critical";
        case SystemMemoryPressure::normal:
            break;
    }
    return "normal";
}

std::optional<SystemMemoryPressure> systemMemoryPressureFromText(std::string_view text) noexcept {
    for (const SystemMemoryPressure level : allSystemMemoryPressures()) {
        if (textValue(level) == text) {
            return level;
        }
    }
    return std::nullopt;
}

std::string_view displayName(SystemMemoryPressure level) noexcept {
    switch (level) {
        case SystemMemoryPressure::warning:
            return "Warning";
        case SystemMemoryPressure::critical:
            return "Critical";
        case SystemMemoryPressure::normal:
            break;
    }
    return "Normal";
}

double representativeScore(SystemMemoryPressure level) noexcept {
    switch (level) {
        case SystemMemoryPressure::warning:
            return 0.62;
        case SystemMemoryPressure::critical:
            return 1.0;
        case SystemMemoryPressure::normal:
            break;
    }
    return 0.18;
}

double confinedScore(SystemMemoryPressure level, double usage) noexcept {
    const double fraction = unitFraction(usage);
    switch (level) {
        case SystemMemoryPressure::warning:
            return unitFraction(std::clamp(fraction, warningBandBottom, warningBandTop));
        case SystemMemoryPressure::critical:
            return unitFraction(std::max(fraction, criticalBandBottom));
        case SystemMemoryPressure::normal:
            break;
    }
    return unitFraction(std::min(fraction, normalBandTop));
}

SystemMemoryPressure systemMemoryPressureFromEventFlags(std::uint64_t flags) noexcept {
    if ((flags & MemoryPressureEvents::criticalFlag) != 0) {
        return SystemMemoryPressure::critical;
    }
    if ((flags & MemoryPressureEvents::warningFlag) != 0) {
        return SystemMemoryPressure::warning;
    }
    return SystemMemoryPressure::normal;
}

}  // namespace tallowbeck
