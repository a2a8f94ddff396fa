#pragma once

#include "TallowbeckCore/astronomy/EquatorialCoordinates.hpp"

namespace tallowbeck {

// Where the Moon is, seen from the Earth's centre; angles in radians.
struct MoonCoordinates {
    EquatorialCoordinates equatorial;
    double eclipticLongitude = 0.0;  // not reduced to one turn
    double eclipticLatitude = 0.0;
    double distanceKilometers = 0.0;

    friend bool operator==(const MoonCoordinates&, const MoonCoordinates&) = default;
};

}  // namespace tallowbeck
