#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

enum class LunarHorizonEventKind : std::uint8_t { rise, set };

constexpr std::array<LunarHorizonEventKind, 2> allLunarHorizonEventKinds() noexcept {
    return {LunarHorizonEventKind::rise, LunarHorizonEventKind::set};
}

// "Moonrise", "Moonset".
std::string_view textValue(LunarHorizonEventKind kind) noexcept;
// Only the two exact texts give a kind.
std::optional<LunarHorizonEventKind> lunarHorizonEventKindFromText(std::string_view text) noexcept;

}  // namespace tallowbeck
