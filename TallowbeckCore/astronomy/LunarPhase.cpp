#include "TallowbeckCore/astronomy/LunarPhase.hpp"

#include "TallowbeckCore/support/CaseText.hpp"

namespace tallowbeck {

std::string_view textValue(LunarPhase phase) noexcept {
    switch (phase) {
        case LunarPhase::waxingCrescent:
            return "Waxing Crescent";
        case LunarPhase::firstQuarter:
            return "First Quarter";
        case LunarPhase::waxingGibbous:
            return "Waxing Gibbous";
        case LunarPhase::fullMoon:
            return "Full Moon";
        case LunarPhase::waningGibbous:
            return "Waning Gibbous";
        case LunarPhase::lastQuarter:
            return "Last Quarter";
        case LunarPhase::waningCrescent:
            return "Waning Crescent";
        case LunarPhase::newMoon:
            break;
    }
    return "New Moon";
}

std::optional<LunarPhase> lunarPhaseFromText(std::string_view text) noexcept {
    return caseWithText(allLunarPhases(), text);
}

}  // namespace tallowbeck
