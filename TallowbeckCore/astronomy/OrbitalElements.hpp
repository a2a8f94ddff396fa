#pragma once

#include "TallowbeckCore/astronomy/LinearElement.hpp"

namespace tallowbeck {

// Mean elements of a planet's orbit in the mean ecliptic and equinox of J2000.
struct OrbitalElements {
    LinearElement semiMajorAxis;             // AU
    LinearElement eccentricity;              // no unit
    LinearElement inclination;               // degrees
    LinearElement meanLongitude;             // degrees
    LinearElement longitudeOfPerihelion;     // degrees
    LinearElement longitudeOfAscendingNode;  // degrees

    friend bool operator==(const OrbitalElements&, const OrbitalElements&) = default;
};

}  // namespace tallowbeck
