#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"
#include "TallowbeckCore/astronomy/LunarCalculator.hpp"

namespace tallowbeck {
namespace {

using AstronomicalTime::daysSinceJ2000;

constexpr double rad = AstronomicalTime::radiansPerDegree;
constexpr double pi = 3.141592653589793;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double synodicMonthSeconds = 2551442.8768992;
// 2024-05-01T12:34:56.250Z
constexpr double mayFirst = 1714566896.25;
// 2000-01-01T12:00:00Z, the J2000.0 epoch.
constexpr double j2000 = 946728000.0;
// Greenwich and Sydney.
constexpr double greenwichLatitude = 51.4779;
constexpr double greenwichLongitude = -0.0015;
constexpr double sydneyLatitude = -33.8688;
constexpr double sydneyLongitude = 151.2093;

// The expected values in the next tests come from an independent evaluation of the same formulas
// in the same order, in Python (whose floats are IEEE doubles and whose math module calls the same
// C library), and are compared bit for bit.

TEST(LunarCalculatorTests, SnapshotMatchesAnIndependentEvaluationExactly) {
    const LunarSnapshot expected{
        .phase = LunarPhase::lastQuarter,
        .phaseFraction = 0.7560981477616517,
        .illumination = 0.4808467910651469,
        .ageDays = 22.32802353406418,
        .distanceKilometers = 368115.8258894814,
        .altitudeDegrees = -16.19626233206238,
        .azimuthDegrees = 257.23531964575403,
        .rightAscensionHours = 21.15631117892931,
        .declinationDegrees = -20.8781815890747,
        .eclipticLongitudeDegrees = 313.5590698024285,
        .eclipticLatitudeDegrees = -4.309144038053317,
        .nextHorizonEvent =
            LunarHorizonEvent{.kind = LunarHorizonEventKind::rise, .date = 1714617341.0700593},
        .nextNewMoon = 1715189197.893556,
        .nextFullMoon = 1716464919.3320057,
    };
    EXPECT_EQ(LunarCalculator::snapshot(mayFirst, greenwichLatitude, greenwichLongitude), expected);
}

TEST(LunarCalculatorTests, SnapshotForASouthernObserverAtJ2000) {
    const LunarSnapshot expected{
        .phase = LunarPhase::waningCrescent,
        .phaseFraction = 0.8391925863400054,
        .illumination = 0.23423173342698356,
        .ageDays = 24.781851235692404,
        .distanceKilometers = 399773.51833662414,
        .altitudeDegrees = -36.80202247170197,
        .azimuthDegrees = 142.5925549963559,
        .rightAscensionHours = 14.793072680257705,
        .declinationDegrees = -10.78634943978437,
        .eclipticLongitudeDegrees = 222.76586536321352,
        .eclipticLatitudeDegrees = 5.119640480503481,
        .nextHorizonEvent =
            LunarHorizonEvent{.kind = LunarHorizonEventKind::rise, .date = 946740965.5941867},
        .nextNewMoon = 947138290.9301354,
        .nextFullMoon = 948414012.368585,
    };
    EXPECT_EQ(LunarCalculator::snapshot(j2000, sydneyLatitude, sydneyLongitude), expected);
}

TEST(LunarCalculatorTests, InternalStepsMatchAnIndependentEvaluationExactly) {
    const double d = daysSinceJ2000(mayFirst);
    EXPECT_EQ(d, 8887.024262152612);
    EXPECT_EQ(LunarCalculator::sunCoordinates(d),
              (EquatorialCoordinates{.rightAscension = 0.6769634455932133,
                                     .declination = 0.26519834175197243}));
    EXPECT_EQ(LunarCalculator::moonCoordinates(d),
              (MoonCoordinates{.equatorial = {.rightAscension = -0.7444759924475913,
                                              .declination = -0.3643930105586153},
                               .eclipticLongitude = 2047.5078630009086,
                               .eclipticLatitude = -0.0752087514067142,
                               .distanceKilometers = 368115.8258894814}));
    EXPECT_EQ(
        LunarCalculator::phaseState(d),
        (LunarPhaseState{.phaseFraction = 0.7560981477616517, .illumination = 0.4808467910651469}));
    EXPECT_EQ(
        LunarCalculator::moonPosition(d, greenwichLatitude, greenwichLongitude),
        (HorizontalCoordinates{.altitude = -0.2826781042112237, .azimuth = 1.3480106266486682}));
}

TEST(LunarCalculatorTests, PhaseEighthsIncludeTheirLowerBounds) {
    EXPECT_EQ(LunarCalculator::phaseFor(0.0625), LunarPhase::waxingCrescent);
    EXPECT_EQ(LunarCalculator::phaseFor(0.9375), LunarPhase::newMoon);
    EXPECT_EQ(LunarCalculator::phaseFor(0.8125), LunarPhase::waningCrescent);

    const auto phases = allLunarPhases();
    for (std::size_t eighth = 0; eighth < 8; ++eighth) {
        const double lowest = eighth == 0 ? 0.0 : 0.0625 + 0.125 * static_cast<double>(eighth - 1);
        const double beyond = 0.0625 + 0.125 * static_cast<double>(eighth);
        EXPECT_EQ(LunarCalculator::phaseFor(lowest), phases[eighth]) << lowest;
        EXPECT_EQ(LunarCalculator::phaseFor(std::nextafter(beyond, 0.0)), phases[eighth]) << beyond;
    }
    EXPECT_EQ(LunarCalculator::phaseFor(std::nextafter(1.0, 0.0)), LunarPhase::newMoon);
}

TEST(LunarCalculatorTests, FractionsOutsideTheMonthAreWaningCrescents) {
    for (const double fraction : {-0.0001, -1.0, 1.0, 1.03, nan}) {
        EXPECT_EQ(LunarCalculator::phaseFor(fraction), LunarPhase::waningCrescent) << fraction;
    }
}

TEST(LunarCalculatorTests, PhaseFractionStaysWithinTheMonth) {
    for (double moment = mayFirst; moment < mayFirst + synodicMonthSeconds; moment += 3 * 3600.0) {
        const LunarPhaseState state = LunarCalculator::phaseState(daysSinceJ2000(moment));
        EXPECT_GE(state.phaseFraction, 0.0);
        EXPECT_LT(state.phaseFraction, 1.0);
        EXPECT_GE(state.illumination, 0.0);
        EXPECT_LE(state.illumination, 1.0);
    }
}

TEST(LunarCalculatorTests, AtNewMoonTheNextNewMoonIsAWholeMonthAhead) {
    EXPECT_EQ(LunarCalculator::secondsUntilPhase(0.0, 0.0), synodicMonthSeconds);
    // Less than a ten-thousandth of a month before the target counts as just past it.
    EXPECT_EQ(LunarCalculator::secondsUntilPhase(0.99995, 0.0), synodicMonthSeconds);
    const double justBefore = LunarCalculator::secondsUntilPhase(0.9998, 0.0);
    EXPECT_NEAR(justBefore, 0.0002 * synodicMonthSeconds, 1e-3);
}

TEST(LunarCalculatorTests, AtFullMoonTheNextFullMoonIsAWholeMonthAheadAndTheNewMoonHalf) {
    EXPECT_EQ(LunarCalculator::secondsUntilPhase(0.5, 0.5), synodicMonthSeconds);
    EXPECT_EQ(LunarCalculator::secondsUntilPhase(0.5, 0.0), 0.5 * 29.530588853 * 86400);
    EXPECT_EQ(LunarCalculator::secondsUntilPhase(0.25, 0.5), 0.25 * 29.530588853 * 86400);
}

TEST(LunarCalculatorTests, SnapshotDatesFollowFromItsPhase) {
    const LunarSnapshot snapshot = LunarCalculator::snapshot(mayFirst, 0, 0);
    EXPECT_EQ(snapshot.ageDays, snapshot.phaseFraction * 29.530588853);
    EXPECT_EQ(snapshot.nextNewMoon,
              mayFirst + LunarCalculator::secondsUntilPhase(snapshot.phaseFraction, 0.0));
    EXPECT_EQ(snapshot.nextFullMoon,
              mayFirst + LunarCalculator::secondsUntilPhase(snapshot.phaseFraction, 0.5));
}

TEST(LunarCalculatorTests, AzimuthOnTheMeridianSouthOfTheZenithIsSouth) {
    // Hour angle 0, declination 10° below a latitude of 50°: due south, which is 0 from south.
    const HorizontalCoordinates position =
        LunarCalculator::horizontalFromEquatorial(0.0, 40 * rad, 50 * rad);
    EXPECT_EQ(position.azimuth, 0.0);
    EXPECT_NEAR(position.altitude, 80 * rad, 1e-4);

    // The same through a snapshot: an observer whose meridian the Moon is crossing.
    const double d = daysSinceJ2000(mayFirst);
    const MoonCoordinates moon = LunarCalculator::moonCoordinates(d);
    const double meridianLongitude =
        AstronomicalTime::reducedDegrees(moon.equatorial.rightAscension / rad - 280.16 -
                                         360.9856235 * d + 180) -
        180;
    const double south =
        LunarCalculator::snapshot(mayFirst, 10.0, meridianLongitude).azimuthDegrees;
    EXPECT_NEAR(south, 180.0, 1e-6);
    // South of the equator with the Moon north of the zenith, the Moon is due north.
    const double north =
        LunarCalculator::snapshot(mayFirst, -60.0, meridianLongitude).azimuthDegrees;
    EXPECT_NEAR(std::min(north, 360.0 - north), 0.0, 1e-6);
}

TEST(LunarCalculatorTests, NegativeRightAscensionIsCarriedIntoTheFirstTurn) {
    EXPECT_EQ(AstronomicalTime::reducedRadians(-0.1), 2 * pi - 0.1);
    // On 1 May 2024 the Moon's right ascension comes out of the arc tangent negative.
    const double raw =
        LunarCalculator::moonCoordinates(daysSinceJ2000(mayFirst)).equatorial.rightAscension;
    ASSERT_LT(raw, 0.0);
    const double hours = LunarCalculator::snapshot(mayFirst, 0, 0).rightAscensionHours;
    EXPECT_EQ(hours, (raw + 2 * pi) / rad / 15);
    EXPECT_GT(hours, 12.0);
    EXPECT_LT(hours, 24.0);
}

TEST(LunarCalculatorTests, SnapshotAnglesAreInTheirRanges) {
    for (double moment = j2000; moment < j2000 + 40 * 86400.0; moment += 7 * 3600.0) {
        const LunarSnapshot snapshot =
            LunarCalculator::snapshot(moment, greenwichLatitude, greenwichLongitude);
        EXPECT_GE(snapshot.azimuthDegrees, 0.0);
        EXPECT_LT(snapshot.azimuthDegrees, 360.0);
        EXPECT_GE(snapshot.rightAscensionHours, 0.0);
        EXPECT_LT(snapshot.rightAscensionHours, 24.0);
        EXPECT_GE(snapshot.eclipticLongitudeDegrees, 0.0);
        EXPECT_LT(snapshot.eclipticLongitudeDegrees, 360.0);
        EXPECT_LE(std::abs(snapshot.eclipticLatitudeDegrees), 5.128 + 1e-9);
        EXPECT_GE(snapshot.distanceKilometers, 385001.0 - 20905.0);
        EXPECT_LE(snapshot.distanceKilometers, 385001.0 + 20905.0);
    }
}

// At latitude 75° the model's Moon stays below the horizon from 2024-01-05 to 2024-01-14 and
// above it from 2024-01-18 to 2024-01-28.
constexpr double polarLatitude = 75.0;

TEST(LunarCalculatorTests, NoEventWhileTheMoonStaysBelowTheHorizonForThreeDays) {
    const double moment = 1704600000.0;  // 2024-01-07T04:00:00Z
    const LunarSnapshot snapshot = LunarCalculator::snapshot(moment, polarLatitude, 0.0);
    EXPECT_LT(snapshot.altitudeDegrees, 0.0);
    EXPECT_FALSE(snapshot.nextHorizonEvent);
    EXPECT_FALSE(LunarCalculator::nextHorizonEvent(moment, polarLatitude, 0.0));
}

TEST(LunarCalculatorTests, NoEventWhileTheMoonStaysAboveTheHorizonForThreeDays) {
    const double moment = 1705600000.0;  // 2024-01-18T17:46:40Z
    const LunarSnapshot snapshot = LunarCalculator::snapshot(moment, polarLatitude, 0.0);
    EXPECT_GT(snapshot.altitudeDegrees, 0.0);
    EXPECT_FALSE(snapshot.nextHorizonEvent);
}

TEST(LunarCalculatorTests, TheSearchEndsAfterTheFourHundredThirtySecondStep) {
    // The model's Moon rises at latitude 75° at about 2024-01-14T13:00:54Z. Starting 431.5 steps
    // before, the rise falls in the last step; starting 432.5 steps before, it is out of reach.
    const auto found = LunarCalculator::nextHorizonEvent(1704978354.0, polarLatitude, 0.0);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->kind, LunarHorizonEventKind::rise);
    EXPECT_GT(found->date, 1704978354.0 + 431 * 600.0);
    EXPECT_LE(found->date, 1704978354.0 + 432 * 600.0);
    EXPECT_FALSE(LunarCalculator::nextHorizonEvent(1704977754.0, polarLatitude, 0.0));
}

TEST(LunarCalculatorTests, EventLiesInsideTheFirstStepThatCrossesTheHorizon) {
    const double moment = mayFirst;
    const auto event = LunarCalculator::nextHorizonEvent(moment, greenwichLatitude, 0.0);
    ASSERT_TRUE(event);
    const double steps = std::floor((event->date - moment) / 600.0);
    const auto offsetAltitude = [](double at) {
        return LunarCalculator::moonPosition(daysSinceJ2000(at), greenwichLatitude, 0.0).altitude +
               LunarCalculator::horizonOffset;
    };
    const double before = offsetAltitude(moment + steps * 600.0);
    const double after = offsetAltitude(moment + (steps + 1) * 600.0);
    EXPECT_EQ(event->kind, before < 0 ? LunarHorizonEventKind::rise : LunarHorizonEventKind::set);
    EXPECT_LT(before * after, 0.0);
    for (double step = 0; step < steps; ++step) {
        EXPECT_GT(
            offsetAltitude(moment + step * 600.0) * offsetAltitude(moment + (step + 1) * 600.0),
            0.0);
    }
}

TEST(LunarCalculatorTests, CrossingsAreInterpolatedInsideTheStep) {
    EXPECT_EQ(LunarCalculator::horizonEventInStep(1000.0, -1.0, 3.0),
              (LunarHorizonEvent{.kind = LunarHorizonEventKind::rise, .date = 1150.0}));
    EXPECT_EQ(LunarCalculator::horizonEventInStep(1000.0, 3.0, -1.0),
              (LunarHorizonEvent{.kind = LunarHorizonEventKind::set, .date = 1450.0}));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, -1.0, -3.0));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, 1.0, 3.0));
}

TEST(LunarCalculatorTests, AnExactZeroStartsTheEventAtTheStepStart) {
    EXPECT_EQ(LunarCalculator::horizonEventInStep(1000.0, 0.0, 2.0),
              (LunarHorizonEvent{.kind = LunarHorizonEventKind::rise, .date = 1000.0}));
    EXPECT_EQ(LunarCalculator::horizonEventInStep(1000.0, 0.0, -2.0),
              (LunarHorizonEvent{.kind = LunarHorizonEventKind::set, .date = 1000.0}));
    EXPECT_EQ(LunarCalculator::horizonEventInStep(1000.0, -0.0, 2.0),
              (LunarHorizonEvent{.kind = LunarHorizonEventKind::rise, .date = 1000.0}));
    // Arriving at exactly 0 is no event yet: the next step, starting from 0, has it.
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, 1.0, 0.0));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, -1.0, 0.0));
}

TEST(LunarCalculatorTests, ZeroToZeroAndNaNAreNoEvents) {
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, 0.0, 0.0));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, 0.0, nan));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, nan, 1.0));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, nan, -1.0));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, -1.0, nan));
    EXPECT_FALSE(LunarCalculator::horizonEventInStep(1000.0, 1.0, nan));
    EXPECT_FALSE(LunarCalculator::nextHorizonEvent(nan, greenwichLatitude, 0.0));
    EXPECT_FALSE(LunarCalculator::nextHorizonEvent(mayFirst, nan, 0.0));
}

TEST(LunarCalculatorTests, FractionIsOneHalfWhenTheDenominatorIsNotPositive) {
    EXPECT_EQ(LunarCalculator::crossingFraction(-1.0, 3.0), 0.25);
    EXPECT_EQ(LunarCalculator::crossingFraction(0.0, -2.0), 0.0);
    EXPECT_EQ(LunarCalculator::crossingFraction(0.0, 0.0), 0.5);
    EXPECT_EQ(LunarCalculator::crossingFraction(nan, 1.0), 0.5);
}

}  // namespace
}  // namespace tallowbeck
