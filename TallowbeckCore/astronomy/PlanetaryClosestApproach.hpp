#pragma once

namespace tallowbeck {

struct PlanetaryClosestApproach {
    double date = 0.0;  // seconds since 1970-01-01 UTC
    double distanceKilometers = 0.0;

    friend bool operator==(const PlanetaryClosestApproach&,
                           const PlanetaryClosestApproach&) = default;
};

}  // namespace tallowbeck
