#pragma once

#include <array>

#include "TallowbeckCore/astronomy/OrbitalElements.hpp"
#include "TallowbeckCore/astronomy/PlanetaryPosition.hpp"
#include "TallowbeckCore/astronomy/SolarSystemBody.hpp"

// Heliocentric positions of the major planets from mean Keplerian elements that change linearly
// with time (the published table for approximate positions, valid 1800 AD to 2050 AD, with the
// Earth-Moon barycentre standing for the Earth). Moments are seconds since 1970-01-01 UTC; a
// moment outside the table's span is not refused, its elements are simply extrapolated.
namespace tallowbeck::PlanetaryEphemeris {

PlanetaryPosition position(SolarSystemBody body, double moment) noexcept;
// Every body, in the order of `allSolarSystemBodies`.
std::array<PlanetaryPosition, 8> positions(double moment) noexcept;
// The eccentric anomaly (radians) for mean anomaly `meanAnomaly` (radians) and `eccentricity`:
// Newton's method from a fixed start, stopping after a correction smaller than 1e-12 and after at
// most seven corrections.
double solveKepler(double meanAnomaly, double eccentricity) noexcept;
// The body's row of the element table, which is constant data.
const OrbitalElements& elements(SolarSystemBody body) noexcept;

}  // namespace tallowbeck::PlanetaryEphemeris
