#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"

#include <cmath>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"
#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"

namespace tallowbeck::MarsMissionCalculator {

namespace {

constexpr int refinementRounds = 24;

// Narrows [low, high] around the minimum of `f` and gives its middle.
double refinedMinimum(const std::function<double(double)>& f, double low, double high) {
    for (int round = 0; round < refinementRounds; ++round) {
        const double span = high - low;
        const double lowerThird = low + span / 3;
        const double upperThird = high - span / 3;
        if (f(upperThird) < f(lowerThird)) {
            low = lowerThird;
        } else {
            high = upperThird;
        }
    }
    return low + (high - low) / 2;
}

}  // namespace

MarsMissionGeometry geometry(double start) noexcept {
    const HohmannTransferWindow outbound =
        transferWindow(start, earthToMarsPhaseDegrees, transferDurationDays);
    const HohmannTransferWindow inbound =
        transferWindow(start, marsToEarthPhaseDegrees, transferDurationDays);
    return {.closestApproach = closestApproach(start),
            .idealTransferDurationDays = transferDurationDays,
            .nextEarthToMarsWindow = outbound,
            .nextMarsToEarthWindow = inbound};
}

HohmannTransferWindow transferWindow(double start, double phaseTargetDegrees,
                                     double transferDays) noexcept {
    const double departure = earliestMinimum(
        [phaseTargetDegrees](double moment) { return phaseDeviation(moment, phaseTargetDegrees); },
        start, windowScanStepSeconds, windowScanSteps);
    return {.departureDate = departure,
            .arrivalDate = departure + transferDays * AstronomicalTime::secondsPerDay};
}

PlanetaryClosestApproach closestApproach(double start) noexcept {
    const double date =
        earliestMinimum(distanceAU, start, approachScanStepSeconds, approachScanSteps);
    return {.date = date, .distanceKilometers = distanceAU(date) * astronomicalUnitKilometers};
}

double phaseDeviation(double moment, double phaseTargetDegrees) noexcept {
    const double earth =
        PlanetaryEphemeris::position(SolarSystemBody::earth, moment).eclipticLongitudeDegrees;
    const double mars =
        PlanetaryEphemeris::position(SolarSystemBody::mars, moment).eclipticLongitudeDegrees;
    const double shifted =
        AstronomicalTime::reducedDegrees(mars - earth - phaseTargetDegrees + 180);
    return std::abs(shifted - 180);
}

double distanceAU(double moment) noexcept {
    const HeliocentricPosition earth =
        PlanetaryEphemeris::position(SolarSystemBody::earth, moment).position;
    const HeliocentricPosition mars =
        PlanetaryEphemeris::position(SolarSystemBody::mars, moment).position;
    const double dx = mars.x - earth.x;
    const double dy = mars.y - earth.y;
    const double dz = mars.z - earth.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

double earliestMinimum(const std::function<double(double)>& f, double start, double step,
                       int steps) {
    double previous = f(start - step);
    double current = f(start);
    for (int index = 0; index <= steps; ++index) {
        const double moment = start + index * step;
        const double next = f(moment + step);
        if (current <= previous && current <= next) {
            const double candidate = refinedMinimum(f, moment - step, moment + step);
            if (candidate >= start) {
                return candidate;
            }
        }
        previous = current;
        current = next;
    }
    return start;
}

}  // namespace tallowbeck::MarsMissionCalculator
