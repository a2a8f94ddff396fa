#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

// The memory-pressure level the system last reported, in rising severity.
enum class SystemMemoryPressure : std::uint8_t { normal, warning, critical };

constexpr std::array<SystemMemoryPressure, 3> allSystemMemoryPressures() noexcept {
    return {SystemMemoryPressure::normal, SystemMemoryPressure::warning,
            SystemMemoryPressure::critical};
}

// "normal", "warning", "critical".
std::string_view textValue(SystemMemoryPressure level) noexcept;
std::optional<SystemMemoryPressure> systemMemoryPressureFromText(std::string_view text) noexcept;

// "Normal", "Warning", "Critical".
std::string_view displayName(SystemMemoryPressure level) noexcept;

// A typical score of the level: 0.18, 0.62, 1.0.
double representativeScore(SystemMemoryPressure level) noexcept;

// `usage` clamped into [0, 1] and then into the level's band (normal at most 0.59, warning 0.6 to
// 0.84, critical from 0.85). The bands do not overlap, so a score always tells its level.
double confinedScore(SystemMemoryPressure level, double usage) noexcept;

// The level of a memory-pressure event's flag set: critical wins over warning; a set with
// neither, whatever else it holds, is normal.
SystemMemoryPressure systemMemoryPressureFromEventFlags(std::uint64_t flags) noexcept;

}  // namespace tallowbeck
