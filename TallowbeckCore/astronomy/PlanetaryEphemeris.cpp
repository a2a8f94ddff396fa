#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"

namespace tallowbeck::PlanetaryEphemeris {

namespace {

using AstronomicalTime::reducedDegrees;

constexpr double rad = AstronomicalTime::radiansPerDegree;
constexpr double daysPerJulianCentury = 36525.0;
constexpr int mostKeplerCorrections = 7;
constexpr double keplerTolerance = 1e-12;

// Semi-major axis (AU), eccentricity, inclination, mean longitude, longitude of perihelion and
// longitude of the ascending node (degrees), each as {value at J2000.0, change per century}, in
// the order of `allSolarSystemBodies`.
constexpr std::array<OrbitalElements, 8> elementTable{{
    {{0.38709927, 0.00000037},
     {0.20563593, 0.00001906},
     {7.00497902, -0.00594749},
     {252.25032350, 149472.67411175},
     {77.45779628, 0.16047689},
     {48.33076593, -0.12534081}},
    {{0.72333566, 0.00000390},
     {0.00677672, -0.00004107},
     {3.39467605, -0.00078890},
     {181.97909950, 58517.81538729},
     {131.60246718, 0.00268329},
     {76.67984255, -0.27769418}},
    {{1.00000261, 0.00000562},
     {0.01671123, -0.00004392},
     {-0.00001531, -0.01294668},
     {100.46457166, 35999.37244981},
     {102.93768193, 0.32327364},
     {0.0, 0.0}},
    {{1.52371034, 0.00001847},
     {0.09339410, 0.00007882},
     {1.84969142, -0.00813131},
     {-4.55343205, 19140.30268499},
     {-23.94362959, 0.44441088},
     {49.55953891, -0.29257343}},
    {{5.20288700, -0.00011607},
     {0.04838624, -0.00013253},
     {1.30439695, -0.00183714},
     {34.39644051, 3034.74612775},
     {14.72847983, 0.21252668},
     {100.47390909, 0.20469106}},
    {{9.53667594, -0.00125060},
     {0.05386179, -0.00050991},
     {2.48599187, 0.00193609},
     {49.95424423, 1222.49362201},
     {92.59887831, -0.41897216},
     {113.66242448, -0.28867794}},
    {{19.18916464, -0.00196176},
     {0.04725744, -0.00004397},
     {0.77263783, -0.00242939},
     {313.23810451, 428.48202785},
     {170.95427630, 0.40805281},
     {74.01692503, 0.04240589}},
    {{30.06992276, 0.00026291},
     {0.00859048, 0.00005105},
     {1.77004347, 0.00035372},
     {-55.12002969, 218.45945325},
     {44.96476227, -0.32241464},
     {131.78422574, -0.00508664}},
}};

double valueAt(const LinearElement& element, double centuries) noexcept {
    return element.base + element.rate * centuries;
}

// Turns a point of the orbital plane (x towards the perihelion) into the ecliptic frame.
HeliocentricPosition eclipticFromOrbitalPlane(double x, double y, double argumentOfPerihelion,
                                              double ascendingNode, double inclination) noexcept {
    const double cosW = std::cos(argumentOfPerihelion);
    const double sinW = std::sin(argumentOfPerihelion);
    const double cosN = std::cos(ascendingNode);
    const double sinN = std::sin(ascendingNode);
    const double cosI = std::cos(inclination);
    const double sinI = std::sin(inclination);
    return {
        .x = (cosW * cosN - sinW * sinN * cosI) * x + (-sinW * cosN - cosW * sinN * cosI) * y,
        .y = (cosW * sinN + sinW * cosN * cosI) * x + (-sinW * sinN + cosW * cosN * cosI) * y,
        .z = (sinW * sinI) * x + (cosW * sinI) * y,
    };
}

}  // namespace

PlanetaryPosition position(SolarSystemBody body, double moment) noexcept {
    const OrbitalElements& orbit = elements(body);
    const double centuries = AstronomicalTime::daysSinceJ2000(moment) / daysPerJulianCentury;
    const double semiMajorAxis = valueAt(orbit.semiMajorAxis, centuries);
    const double eccentricity = valueAt(orbit.eccentricity, centuries);
    const double inclination = valueAt(orbit.inclination, centuries);
    const double meanLongitude = reducedDegrees(valueAt(orbit.meanLongitude, centuries));
    const double perihelion = reducedDegrees(valueAt(orbit.longitudeOfPerihelion, centuries));
    const double node = reducedDegrees(valueAt(orbit.longitudeOfAscendingNode, centuries));
    const double meanAnomaly = reducedDegrees(meanLongitude - perihelion);

    const double eccentricAnomaly = solveKepler(meanAnomaly * rad, eccentricity);
    const double planeX = semiMajorAxis * (std::cos(eccentricAnomaly) - eccentricity);
    const double planeY = semiMajorAxis *
                          std::sqrt(std::max(0.0, 1 - eccentricity * eccentricity)) *
                          std::sin(eccentricAnomaly);
    const HeliocentricPosition place = eclipticFromOrbitalPlane(
        planeX, planeY, (perihelion - node) * rad, node * rad, inclination * rad);
    return {.body = body,
            .position = place,
            .eclipticLongitudeDegrees = reducedDegrees(std::atan2(place.y, place.x) / rad)};
}

std::array<PlanetaryPosition, 8> positions(double moment) noexcept {
    std::array<PlanetaryPosition, 8> all;
    std::ranges::transform(allSolarSystemBodies(), all.begin(),
                           [moment](SolarSystemBody body) { return position(body, moment); });
    return all;
}

double solveKepler(double meanAnomaly, double eccentricity) noexcept {
    double anomaly = meanAnomaly + eccentricity * std::sin(meanAnomaly) *
                                       (1 + eccentricity * std::cos(meanAnomaly));
    for (int correction = 1; correction <= mostKeplerCorrections; ++correction) {
        const double step = (anomaly - eccentricity * std::sin(anomaly) - meanAnomaly) /
                            (1 - eccentricity * std::cos(anomaly));
        anomaly -= step;
        if (std::abs(step) < keplerTolerance) {
            break;
        }
    }
    return anomaly;
}

const OrbitalElements& elements(SolarSystemBody body) noexcept {
    return elementTable[static_cast<std::size_t>(body)];
}

}  // namespace tallowbeck::PlanetaryEphemeris
