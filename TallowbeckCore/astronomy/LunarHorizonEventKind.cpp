#include "TallowbeckCore/astronomy/LunarHorizonEventKind.hpp"

#include "TallowbeckCore/support/CaseText.hpp"

namespace tallowbeck {

std::string_view textValue(LunarHorizonEventKind kind) noexcept {
    return kind == LunarHorizonEventKind::set ? "Moonset" : "Moonrise";
}

std::optional<LunarHorizonEventKind> lunarHorizonEventKindFromText(std::string_view text) noexcept {
    return caseWithText(allLunarHorizonEventKinds(), text);
}

}  // namespace tallowbeck
