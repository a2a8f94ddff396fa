#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

// The system's thermal pressure, in rising severity; stored as the case index.
enum class SystemThermalState : std::uint8_t { nominal, fair, serious, critical };

constexpr std::array<SystemThermalState, 4> allSystemThermalStates() noexcept {
    return {SystemThermalState::nominal, SystemThermalState::fair, SystemThermalState::serious,
            SystemThermalState::critical};
}

// "nominal", "fair", "serious", "critical".
std::string_view textValue(SystemThermalState state) noexcept;
// Only the four exact texts give a state.
std::optional<SystemThermalState> systemThermalStateFromText(std::string_view text) noexcept;

// "Nominal", "Fair", "Serious", "Critical".
std::string_view displayName(SystemThermalState state) noexcept;

// Serious and critical are the states under which sessions end and fans are forced.
constexpr bool isThermalPressure(SystemThermalState state) noexcept {
    return state == SystemThermalState::serious || state == SystemThermalState::critical;
}

}  // namespace tallowbeck
