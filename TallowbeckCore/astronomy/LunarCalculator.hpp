#pragma once

#include <optional>

#include "TallowbeckCore/astronomy/EquatorialCoordinates.hpp"
#include "TallowbeckCore/astronomy/HorizontalCoordinates.hpp"
#include "TallowbeckCore/astronomy/LunarHorizonEvent.hpp"
#include "TallowbeckCore/astronomy/LunarPhase.hpp"
#include "TallowbeckCore/astronomy/LunarPhaseState.hpp"
#include "TallowbeckCore/astronomy/LunarSnapshot.hpp"
#include "TallowbeckCore/astronomy/MoonCoordinates.hpp"

// The Moon from a low-precision analytic model (one periodic term for the Moon's longitude,
// latitude and distance, three for the Sun's equation of centre), cheap enough to be evaluated a
// few hundred times per snapshot. Moments are seconds since 1970-01-01 UTC; `d` is days since
// J2000.0; latitudes and longitudes of observers are degrees, north and east positive.
namespace tallowbeck::LunarCalculator {

constexpr double synodicMonthDays = 29.530588853;
constexpr double synodicMonthSeconds = 2551442.8768992;
// Rises and sets are searched for this many steps of `horizonStepSeconds` (72 hours).
constexpr int horizonSteps = 432;
constexpr double horizonStepSeconds = 600.0;
// An event is a zero crossing of the refracted altitude plus this offset (-0.133°), in radians.
constexpr double horizonOffset = -0.0023212879051524586;

// Never fails; angles in the result are degrees.
LunarSnapshot snapshot(double moment, double latitudeDegrees, double longitudeDegrees) noexcept;

EquatorialCoordinates sunCoordinates(double d) noexcept;
MoonCoordinates moonCoordinates(double d) noexcept;
LunarPhaseState phaseState(double d) noexcept;
HorizontalCoordinates moonPosition(double d, double latitudeDegrees,
                                   double longitudeDegrees) noexcept;
// Eighths centred on the principal phases, each including its lower bound; anything outside
// 0 to 1 (or NaN) is a waning crescent.
LunarPhase phaseFor(double phaseFraction) noexcept;
// The first rise or set after `moment` within 72 hours, by linear interpolation inside the first
// 600 s step whose ends lie on either side of the horizon.
std::optional<LunarHorizonEvent> nextHorizonEvent(double moment, double latitudeDegrees,
                                                  double longitudeDegrees) noexcept;

// Right ascension and declination of ecliptic longitude `l` and latitude `b` (radians).
EquatorialCoordinates equatorialFromEcliptic(double l, double b) noexcept;
// Altitude (refracted) and azimuth of a body at `hourAngle` and `declination` for an observer at
// `latitude`, all in radians.
HorizontalCoordinates horizontalFromEquatorial(double hourAngle, double declination,
                                               double latitude) noexcept;
// The event inside the step that starts at `stepStart`, between the offset altitudes `before` and
// `after` at its two ends: a rise from below to above, a set from above to below, and from exactly
// 0 whichever way the step goes. Nothing when either end is NaN or both are 0.
std::optional<LunarHorizonEvent> horizonEventInStep(double stepStart, double before,
                                                    double after) noexcept;
// How far into the step the crossing lies: |before| / (|before| + |after|), or one half when
// that denominator is not positive.
double crossingFraction(double before, double after) noexcept;
// Seconds from a moment at `phaseFraction` to the next moment at `targetFraction`, at the mean
// synodic rate; a whole month rather than almost none when the target has just been reached.
double secondsUntilPhase(double phaseFraction, double targetFraction) noexcept;

}  // namespace tallowbeck::LunarCalculator
