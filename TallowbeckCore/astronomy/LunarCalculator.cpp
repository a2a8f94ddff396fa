#include "TallowbeckCore/astronomy/LunarCalculator.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"

namespace tallowbeck::LunarCalculator {

namespace {

using AstronomicalTime::daysSinceJ2000;
using AstronomicalTime::reducedRadians;

constexpr double rad = AstronomicalTime::radiansPerDegree;
constexpr double pi = 3.141592653589793;
// The obliquity of the ecliptic, 23.4397°.
constexpr double sinObliquity = 0.39778370349342274;
constexpr double cosObliquity = 0.9174792233260962;
// The longitude of the Earth's perihelion, rad × 102.9372.
constexpr double earthPerihelion = 1.796593062783907;
constexpr double sunDistanceKilometers = 149598000.0;
// Closer than this to the target phase counts as having just passed it.
constexpr double leastPhaseInterval = 0.0001;

struct PhaseSlice {
    double lowest;
    double beyond;
    LunarPhase phase;
};

constexpr std::array<PhaseSlice, 8> phaseSlices{{
    {0.0, 0.0625, LunarPhase::newMoon},
    {0.0625, 0.1875, LunarPhase::waxingCrescent},
    {0.1875, 0.3125, LunarPhase::firstQuarter},
    {0.3125, 0.4375, LunarPhase::waxingGibbous},
    {0.4375, 0.5625, LunarPhase::fullMoon},
    {0.5625, 0.6875, LunarPhase::waningGibbous},
    {0.6875, 0.8125, LunarPhase::lastQuarter},
    {0.9375, 1.0, LunarPhase::newMoon},
}};

// The part after the whole number, moved into 0 to 1 when negative.
double fractionalPart(double value) noexcept {
    const double fraction = value - std::trunc(value);
    return fraction < 0 ? fraction + 1 : fraction;
}

HorizontalCoordinates positionOf(const EquatorialCoordinates& moon, double d,
                                 double latitudeDegrees, double longitudeDegrees) noexcept {
    const double siderealAngle = rad * (280.16 + 360.9856235 * d + longitudeDegrees);
    return horizontalFromEquatorial(siderealAngle - moon.rightAscension, moon.declination,
                                    rad * latitudeDegrees);
}

LunarPhaseState phaseBetween(const EquatorialCoordinates& sun,
                             const MoonCoordinates& moon) noexcept {
    const double sunSinDeclination = std::sin(sun.declination);
    const double sunCosDeclination = std::cos(sun.declination);
    const double moonSinDeclination = std::sin(moon.equatorial.declination);
    const double moonCosDeclination = std::cos(moon.equatorial.declination);
    const double rightAscensionDifference = sun.rightAscension - moon.equatorial.rightAscension;
    // Rounding must never carry the cosine outside the arc cosine's domain.
    const double cosElongation =
        std::clamp(sunSinDeclination * moonSinDeclination +
                       sunCosDeclination * moonCosDeclination * std::cos(rightAscensionDifference),
                   -1.0, 1.0);
    const double elongation = std::acos(cosElongation);
    const double inclination =
        std::atan2(sunDistanceKilometers * std::sin(elongation),
                   moon.distanceKilometers - sunDistanceKilometers * std::cos(elongation));
    const double angle =
        std::atan2(sunCosDeclination * std::sin(rightAscensionDifference),
                   sunSinDeclination * moonCosDeclination -
                       sunCosDeclination * moonSinDeclination * std::cos(rightAscensionDifference));
    const double illumination = (1 + std::cos(inclination)) / 2;
    const double side = angle < 0 ? -1.0 : 1.0;
    return {.phaseFraction = fractionalPart(0.5 + 0.5 * inclination * side / pi),
            .illumination = illumination};
}

std::optional<LunarHorizonEvent> eventAfter(double moment, double altitudeAtMoment,
                                            double latitudeDegrees,
                                            double longitudeDegrees) noexcept {
    double before = altitudeAtMoment + horizonOffset;
    for (int step = 1; step <= horizonSteps; ++step) {
        const double stepEnd = moment + horizonStepSeconds * step;
        const double after =
            moonPosition(daysSinceJ2000(stepEnd), latitudeDegrees, longitudeDegrees).altitude +
            horizonOffset;
        if (const auto event =
                horizonEventInStep(moment + horizonStepSeconds * (step - 1), before, after)) {
            return event;
        }
        before = after;
    }
    return std::nullopt;
}

}  // namespace

LunarSnapshot snapshot(double moment, double latitudeDegrees, double longitudeDegrees) noexcept {
    const double d = daysSinceJ2000(moment);
    const MoonCoordinates moon = moonCoordinates(d);
    const LunarPhaseState state = phaseBetween(sunCoordinates(d), moon);
    const HorizontalCoordinates position =
        positionOf(moon.equatorial, d, latitudeDegrees, longitudeDegrees);
    return {
        .phase = phaseFor(state.phaseFraction),
        .phaseFraction = state.phaseFraction,
        .illumination = state.illumination,
        .ageDays = state.phaseFraction * synodicMonthDays,
        .distanceKilometers = moon.distanceKilometers,
        .altitudeDegrees = position.altitude / rad,
        .azimuthDegrees = reducedRadians(position.azimuth + pi) / rad,
        .rightAscensionHours = reducedRadians(moon.equatorial.rightAscension) / rad / 15,
        .declinationDegrees = moon.equatorial.declination / rad,
        .eclipticLongitudeDegrees = reducedRadians(moon.eclipticLongitude) / rad,
        .eclipticLatitudeDegrees = moon.eclipticLatitude / rad,
        .nextHorizonEvent =
            eventAfter(moment, position.altitude, latitudeDegrees, longitudeDegrees),
        .nextNewMoon = moment + secondsUntilPhase(state.phaseFraction, 0.0),
        .nextFullMoon = moment + secondsUntilPhase(state.phaseFraction, 0.5),
    };
}

EquatorialCoordinates sunCoordinates(double d) noexcept {
    const double meanAnomaly = rad * (357.5291 + 0.98560028 * d);
    const double centre = rad * (1.9148 * std::sin(meanAnomaly) + 0.02 * std::sin(2 * meanAnomaly) +
                                 0.0003 * std::sin(3 * meanAnomaly));
    return equatorialFromEcliptic(meanAnomaly + centre + earthPerihelion + pi, 0.0);
}

MoonCoordinates moonCoordinates(double d) noexcept {
    const double meanLongitude = 218.316 + 13.176396 * d;
    const double meanAnomaly = 134.963 + 13.064993 * d;
    const double meanDistanceFromNode = 93.272 + 13.22935 * d;
    const double longitude =
        rad * meanLongitude + 0.10976375665792339 * std::sin(rad * meanAnomaly);
    const double latitude = 0.08950048404226922 * std::sin(rad * meanDistanceFromNode);
    return {.equatorial = equatorialFromEcliptic(longitude, latitude),
            .eclipticLongitude = longitude,
            .eclipticLatitude = latitude,
            .distanceKilometers = 385001 - 20905 * std::cos(rad * meanAnomaly)};
}

LunarPhaseState phaseState(double d) noexcept {
    return phaseBetween(sunCoordinates(d), moonCoordinates(d));
}

HorizontalCoordinates moonPosition(double d, double latitudeDegrees,
                                   double longitudeDegrees) noexcept {
    return positionOf(moonCoordinates(d).equatorial, d, latitudeDegrees, longitudeDegrees);
}

LunarPhase phaseFor(double phaseFraction) noexcept {
    for (const PhaseSlice& slice : phaseSlices) {
        if (phaseFraction >= slice.lowest && phaseFraction < slice.beyond) {
            return slice.phase;
        }
    }
    return LunarPhase::waningCrescent;
}

std::optional<LunarHorizonEvent> nextHorizonEvent(double moment, double latitudeDegrees,
                                                  double longitudeDegrees) noexcept {
    const double altitude =
        moonPosition(daysSinceJ2000(moment), latitudeDegrees, longitudeDegrees).altitude;
    return eventAfter(moment, altitude, latitudeDegrees, longitudeDegrees);
}

EquatorialCoordinates equatorialFromEcliptic(double l, double b) noexcept {
    return {.rightAscension =
                std::atan2(std::sin(l) * cosObliquity - std::tan(b) * sinObliquity, std::cos(l)),
            .declination =
                std::asin(std::sin(b) * cosObliquity + std::cos(b) * sinObliquity * std::sin(l))};
}

HorizontalCoordinates horizontalFromEquatorial(double hourAngle, double declination,
                                               double latitude) noexcept {
    const double trueAltitude =
        std::asin(std::sin(latitude) * std::sin(declination) +
                  std::cos(latitude) * std::cos(declination) * std::cos(hourAngle));
    const double azimuth =
        std::atan2(std::sin(hourAngle), std::cos(hourAngle) * std::sin(latitude) -
                                            std::tan(declination) * std::cos(latitude));
    const double refractedFrom = trueAltitude > 0 ? trueAltitude : 0.0;
    const double refraction =
        0.0002967 / std::tan(refractedFrom + 0.00312536 / (refractedFrom + 0.08901179));
    return {.altitude = trueAltitude + refraction, .azimuth = azimuth};
}

std::optional<LunarHorizonEvent> horizonEventInStep(double stepStart, double before,
                                                    double after) noexcept {
    std::optional<LunarHorizonEventKind> kind;
    if (before < 0 && after > 0) {
        kind = LunarHorizonEventKind::rise;
    } else if (before == 0 && after != 0 && !std::isnan(after)) {
        kind = after <= 0 ? LunarHorizonEventKind::set : LunarHorizonEventKind::rise;
    } else if (before > 0 && after < 0) {
        kind = LunarHorizonEventKind::set;
    }
    if (!kind) {
        return std::nullopt;
    }
    return LunarHorizonEvent{
        .kind = *kind, .date = stepStart + crossingFraction(before, after) * horizonStepSeconds};
}

double crossingFraction(double before, double after) noexcept {
    const double denominator = std::abs(before) + std::abs(after);
    return denominator > 0 ? std::abs(before) / denominator : 0.5;
}

double secondsUntilPhase(double phaseFraction, double targetFraction) noexcept {
    const double remaining = fractionalPart(targetFraction - phaseFraction);
    if (remaining < leastPhaseInterval) {
        return synodicMonthSeconds;
    }
    return remaining * synodicMonthDays * AstronomicalTime::secondsPerDay;
}

}  // namespace tallowbeck::LunarCalculator
