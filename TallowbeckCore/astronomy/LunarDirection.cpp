#include "TallowbeckCore/astronomy/LunarDirection.hpp"

#include "TallowbeckCore/support/CaseText.hpp"

namespace tallowbeck {

std::string_view textValue(LunarDirection direction) noexcept {
    return direction == LunarDirection::waning ? "Waning" : "Waxing";
}

std::optional<LunarDirection> lunarDirectionFromText(std::string_view text) noexcept {
    return caseWithText(allLunarDirections(), text);
}

}  // namespace tallowbeck
