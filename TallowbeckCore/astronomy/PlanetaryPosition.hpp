#pragma once

#include "TallowbeckCore/astronomy/HeliocentricPosition.hpp"
#include "TallowbeckCore/astronomy/SolarSystemBody.hpp"

namespace tallowbeck {

struct PlanetaryPosition {
    SolarSystemBody body = SolarSystemBody::mercury;
    HeliocentricPosition position;
    double eclipticLongitudeDegrees = 0.0;  // 0 to 360

    friend bool operator==(const PlanetaryPosition&, const PlanetaryPosition&) = default;
};

}  // namespace tallowbeck
