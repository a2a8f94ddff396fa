#pragma once

#include "TallowbeckCore/astronomy/HohmannTransferWindow.hpp"
#include "TallowbeckCore/astronomy/PlanetaryClosestApproach.hpp"

namespace tallowbeck {

struct MarsMissionGeometry {
    PlanetaryClosestApproach closestApproach;
    double idealTransferDurationDays = 0.0;
    HohmannTransferWindow nextEarthToMarsWindow;
    HohmannTransferWindow nextMarsToEarthWindow;

    friend bool operator==(const MarsMissionGeometry&, const MarsMissionGeometry&) = default;
};

}  // namespace tallowbeck
