#include "TallowbeckCore/astronomy/SolarSystemBody.hpp"

#include "TallowbeckCore/support/CaseText.hpp"

namespace tallowbeck {

std::string_view textValue(SolarSystemBody body) noexcept {
    switch (body) {
        case SolarSystemBody::venus:
            return "Venus";
        case SolarSystemBody::earth:
            return "Earth";
        case SolarSystemBody::mars:
            return "Mars";
        case SolarSystemBody::jupiter:
            return "Jupiter";
        case SolarSystemBody::saturn:
            return "Saturn";
        case SolarSystemBody::uranus:
            return "Uranus";
        case SolarSystemBody::neptune:
            return "Neptune";
        case SolarSystemBody::mercury:
            break;
    }
    return "Mercury";
}

std::optional<SolarSystemBody> solarSystemBodyFromText(std::string_view text) noexcept {
    return caseWithText(allSolarSystemBodies(), text);
}

}  // namespace tallowbeck
