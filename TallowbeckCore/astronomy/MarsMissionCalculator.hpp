#pragma once

#include <functional>

#include "TallowbeckCore/astronomy/HohmannTransferWindow.hpp"
#include "TallowbeckCore/astronomy/MarsMissionGeometry.hpp"
#include "TallowbeckCore/astronomy/PlanetaryClosestApproach.hpp"

// The next Earth-Mars closest approach and Hohmann transfer windows after a start moment, from
// the planetary ephemeris's Earth and Mars. Dates are seconds since 1970-01-01 UTC.
namespace tallowbeck::MarsMissionCalculator {

// Half the period of the Earth-Mars transfer ellipse.
constexpr double transferDurationDays = 258.8657589178094;
// Mars's lead over the Earth at an Earth-to-Mars departure.
constexpr double earthToMarsPhaseDegrees = 44.34587148037588;
// The target of the way back, measured as Mars minus Earth like the way out.
constexpr double marsToEarthPhaseDegrees = 75.14070463020835;
constexpr double astronomicalUnitKilometers = 149597870.7;

// Windows are searched in half days over 820.5 days, closest approaches in days over 821.
constexpr double windowScanStepSeconds = 43200.0;
constexpr int windowScanSteps = 1640;
constexpr double approachScanStepSeconds = 86400.0;
constexpr int approachScanSteps = 820;

MarsMissionGeometry geometry(double start) noexcept;
HohmannTransferWindow transferWindow(double start, double phaseTargetDegrees,
                                     double transferDays) noexcept;
PlanetaryClosestApproach closestApproach(double start) noexcept;

// How far, in degrees from 0 to 180, Mars's heliocentric longitude minus the Earth's lies from
// `phaseTargetDegrees` at `moment`.
double phaseDeviation(double moment, double phaseTargetDegrees) noexcept;
// The Earth-Mars distance at `moment`, in AU.
double distanceAU(double moment) noexcept;

// The first local minimum of `f` (ties included) at or after `start`: `f` is sampled every `step`
// seconds from `start` for `steps` + 1 steps, and each local minimum refined by 24 rounds of
// ternary search over the two steps around it. A refined point before `start` is passed over.
// Gives `start` itself when no minimum is found.
double earliestMinimum(const std::function<double(double)>& f, double start, double step,
                       int steps);

}  // namespace tallowbeck::MarsMissionCalculator
