#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"
#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"

namespace tallowbeck {
namespace {

constexpr double day = 86400.0;
// 2024-01-01T00:00:00Z
constexpr double newYear2024 = 1704067200.0;
constexpr double transferDays = 258.8657589178094;

TEST(MarsMissionCalculatorTests, GeometryMatchesAnIndependentEvaluationExactly) {
    // From an independent evaluation of the same formulas in the same order, in Python (IEEE
    // doubles, the same C library's functions).
    const MarsMissionGeometry expected{
        .closestApproach = {.date = 1736690861.4457073, .distanceKilometers = 96085786.63103758},
        .idealTransferDurationDays = 258.8657589178094,
        .nextEarthToMarsWindow = {.departureDate = 1729742507.252397,
                                  .arrivalDate = 1752108508.8228958},
        .nextMarsToEarthWindow = {.departureDate = 1723533839.7009711,
                                  .arrivalDate = 1745899841.2714698},
    };
    EXPECT_EQ(MarsMissionCalculator::geometry(newYear2024), expected);
}

TEST(MarsMissionCalculatorTests, GeometryIsMadeOfTheTwoWindowsAndTheClosestApproach) {
    const MarsMissionGeometry geometry = MarsMissionCalculator::geometry(newYear2024);
    EXPECT_EQ(geometry.nextEarthToMarsWindow,
              MarsMissionCalculator::transferWindow(newYear2024, 44.34587148037588, transferDays));
    EXPECT_EQ(geometry.nextMarsToEarthWindow,
              MarsMissionCalculator::transferWindow(newYear2024, 75.14070463020835, transferDays));
    EXPECT_EQ(geometry.closestApproach, MarsMissionCalculator::closestApproach(newYear2024));
}

TEST(MarsMissionCalculatorTests, IdealTransferDurationNeverChanges) {
    for (const double start : {0.0, newYear2024, 4102444800.0, -1.0e10}) {
        EXPECT_EQ(MarsMissionCalculator::geometry(start).idealTransferDurationDays,
                  258.8657589178094);
    }
}

TEST(MarsMissionCalculatorTests, WindowArrivesAfterTheTransferDuration) {
    const HohmannTransferWindow window =
        MarsMissionCalculator::transferWindow(newYear2024, 44.34587148037588, 100.0);
    EXPECT_EQ(window.arrivalDate, window.departureDate + 100.0 * day);
}

TEST(MarsMissionCalculatorTests, DepartureIsWhereMarsLeadsByThePhaseTarget) {
    for (const double target : {44.34587148037588, 75.14070463020835}) {
        const double departure =
            MarsMissionCalculator::transferWindow(newYear2024, target, transferDays).departureDate;
        EXPECT_GE(departure, newYear2024);
        EXPECT_LT(departure, newYear2024 + 820.5 * day);
        // Mars gains on the Earth by about half a degree a day.
        EXPECT_LT(MarsMissionCalculator::phaseDeviation(departure, target), 0.001);
    }
}

TEST(MarsMissionCalculatorTests, BothWindowsMeasureMarsMinusEarth) {
    // At the way-back window Mars leads the Earth by the positive 75.14°, measured the same way.
    const double departure =
        MarsMissionCalculator::transferWindow(newYear2024, 75.14070463020835, transferDays)
            .departureDate;
    EXPECT_NEAR(MarsMissionCalculator::phaseDeviation(departure, 75.14070463020835), 0.0, 0.001);
    EXPECT_NEAR(MarsMissionCalculator::phaseDeviation(departure, -75.14070463020835), 150.28, 0.01);
}

TEST(MarsMissionCalculatorTests, DeviationIsTheAngularDistanceFromTheTarget) {
    const double lead =
        PlanetaryEphemeris::position(SolarSystemBody::mars, newYear2024).eclipticLongitudeDegrees -
        PlanetaryEphemeris::position(SolarSystemBody::earth, newYear2024).eclipticLongitudeDegrees;
    for (const double target : {0.0, 44.34587148037588, 90.0, 270.0, -30.0}) {
        const double deviation = MarsMissionCalculator::phaseDeviation(newYear2024, target);
        EXPECT_GE(deviation, 0.0);
        EXPECT_LE(deviation, 180.0);
        const double difference = std::fmod(std::abs(lead - target), 360.0);
        EXPECT_NEAR(deviation, std::min(difference, 360.0 - difference), 1e-9) << target;
    }
}

TEST(MarsMissionCalculatorTests, AStartAtAWindowFindsThatWindow) {
    const double departure =
        MarsMissionCalculator::transferWindow(newYear2024, 44.34587148037588, transferDays)
            .departureDate;
    const double again =
        MarsMissionCalculator::transferWindow(departure, 44.34587148037588, transferDays)
            .departureDate;
    EXPECT_GE(again, departure);
    EXPECT_LT(again, departure + 60.0);
}

TEST(MarsMissionCalculatorTests, AMinimumRefinedToBeforeTheStartIsPassedOver) {
    const double departure =
        MarsMissionCalculator::transferWindow(newYear2024, 44.34587148037588, transferDays)
            .departureDate;
    // An hour later the first sample is still the lowest, but its refined point lies before the
    // start, so the scan goes on to the next window, one synodic period (about 780 days) later.
    const double next =
        MarsMissionCalculator::transferWindow(departure + 3600.0, 44.34587148037588, transferDays)
            .departureDate;
    EXPECT_GT(next, departure + 700 * day);
    EXPECT_LT(next, departure + 820 * day);

    const double approach = MarsMissionCalculator::closestApproach(newYear2024).date;
    const double nextApproach = MarsMissionCalculator::closestApproach(approach + 3600.0).date;
    EXPECT_GT(nextApproach, approach + 700 * day);
}

TEST(MarsMissionCalculatorTests, WithoutAMinimumTheStartItselfIsTheAnswer) {
    // No planet can be placed at an infinite moment, so nothing compares as a minimum.
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(MarsMissionCalculator::transferWindow(infinity, 44.34587148037588, transferDays),
              (HohmannTransferWindow{.departureDate = infinity, .arrivalDate = infinity}));
    const PlanetaryClosestApproach approach = MarsMissionCalculator::closestApproach(infinity);
    EXPECT_EQ(approach.date, infinity);
    EXPECT_TRUE(std::isnan(approach.distanceKilometers));

    // A function that only falls has no minimum over the scan either.
    const double start = 1000.0;
    EXPECT_EQ(MarsMissionCalculator::earliestMinimum([](double t) { return -t; }, start, 10.0, 50),
              start);
    const double departure = MarsMissionCalculator::earliestMinimum(
        [](double t) { return -t; }, newYear2024, MarsMissionCalculator::windowScanStepSeconds,
        MarsMissionCalculator::windowScanSteps);
    EXPECT_EQ(departure, newYear2024);
}

TEST(MarsMissionCalculatorTests, AMinimumJustPastTheScanIsNotSeenAndTheStartIsTheAnswer) {
    // The scan judges the samples from the start to `steps` steps after it, each against its
    // neighbours. A valley whose bottom lies one step beyond the last of them only falls within
    // the scan.
    const double start = 1000.0;
    const double step = 10.0;
    const int steps = 50;
    const auto valleyAt = [](double bottom) {
        return [bottom](double t) { return std::abs(t - bottom); };
    };
    const double pastTheScan = start + (steps + 1) * step;
    EXPECT_EQ(MarsMissionCalculator::earliestMinimum(valleyAt(pastTheScan), start, step, steps),
              start);

    // A step earlier, at the last sample judged, the bottom is found.
    const double lastJudged = start + steps * step;
    EXPECT_NEAR(MarsMissionCalculator::earliestMinimum(valleyAt(lastJudged), start, step, steps),
                lastJudged, step / 1000);
}

TEST(MarsMissionCalculatorTests, ClosestApproachDistanceIsTheDistanceAtItsDate) {
    const PlanetaryClosestApproach approach = MarsMissionCalculator::closestApproach(newYear2024);
    EXPECT_EQ(approach.distanceKilometers,
              MarsMissionCalculator::distanceAU(approach.date) * 149597870.7);
    for (const double offset : {-day, -3600.0, 3600.0, day}) {
        EXPECT_GT(MarsMissionCalculator::distanceAU(approach.date + offset),
                  MarsMissionCalculator::distanceAU(approach.date));
    }
}

TEST(MarsMissionCalculatorTests, TiesCountAsMinima) {
    // A flat function is at a (tied) minimum everywhere. At the first step the refinement ends
    // just before the start and is passed over; at the second it ends just after.
    const double start = 1000.0;
    const double step = 10.0;
    const double found =
        MarsMissionCalculator::earliestMinimum([](double) { return 0.0; }, start, step, 50);
    EXPECT_GT(found, start);
    EXPECT_LT(found, start + step / 1000);
}

TEST(MarsMissionCalculatorTests, ARefinedPointExactlyAtTheStartIsTaken) {
    // Where a unit is the smallest step between doubles, the refinement around the first sample
    // rounds to the start itself. It is taken, not passed over for the second minimum 20 later.
    const double start = 4503599627370496.0;  // 2^52
    const auto twoMinima = [start](double t) {
        return std::min(std::abs(t - start), std::abs(t - (start + 20)));
    };
    EXPECT_EQ(MarsMissionCalculator::earliestMinimum(twoMinima, start, 2.0, 40), start);
}

}  // namespace
}  // namespace tallowbeck
