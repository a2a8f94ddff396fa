#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

// Whether the lit part of the Moon grows or shrinks. Which phases count as which is for the
// application to decide: the calculator itself never produces a direction.
enum class LunarDirection : std::uint8_t { waxing, waning };

constexpr std::array<LunarDirection, 2> allLunarDirections() noexcept {
    return {LunarDirection::waxing, LunarDirection::waning};
}

// "Waxing", "Waning".
std::string_view textValue(LunarDirection direction) noexcept;
// Only the two exact texts give a direction.
std::optional<LunarDirection> lunarDirectionFromText(std::string_view text) noexcept;

}  // namespace tallowbeck
