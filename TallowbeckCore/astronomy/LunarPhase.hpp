#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

// The Moon's phase in eighths of the synodic month, starting at new moon.
enum class LunarPhase : std::uint8_t {
    newMoon,
    waxingCrescent,
    firstQuarter,
    waxingGibbous,
    fullMoon,
    waningGibbous,
    lastQuarter,
    waningCrescent,
};

constexpr std::array<LunarPhase, 8> allLunarPhases() noexcept {
    return {LunarPhase::newMoon,       LunarPhase::waxingCrescent, LunarPhase::firstQuarter,
            LunarPhase::waxingGibbous, LunarPhase::fullMoon,       LunarPhase::waningGibbous,
            LunarPhase::lastQuarter,   LunarPhase::waningCrescent};
}

// "New Moon", "Waxing Crescent", "First Quarter", "Waxing Gibbous", "Full Moon",
// "Waning Gibbous", "Last Quarter", "Waning Crescent".
std::string_view textValue(LunarPhase phase) noexcept;
// Only the eight exact texts give a phase.
std::optional<LunarPhase> lunarPhaseFromText(std::string_view text) noexcept;

}  // namespace tallowbeck
