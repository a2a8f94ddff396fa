#include <gtest/gtest.h>

#include <limits>

#include "TallowbeckCore/session/SessionThermalSafety.hpp"

namespace tallowbeck {
namespace {

constexpr double coolReading = 34.9;

TEST(SessionThermalSafetyTests, FreshValueHasNoPressureAndNoGrace) {
    const SessionThermalSafety safety;
    EXPECT_FALSE(safety.pressureStartedAt());
    EXPECT_FALSE(safety.graceRemaining());
}

TEST(SessionThermalSafetyTests, WithoutPressureTheSessionGoesOnAndBothFieldsClear) {
    SessionThermalSafety safety;
    ASSERT_FALSE(safety.evaluate(SystemThermalState::serious, coolReading, 100.0));
    for (const std::optional<double> reading :
         {std::optional<double>(), std::optional<double>(90.0), std::optional<double>(20.0)}) {
        EXPECT_FALSE(safety.evaluate(SystemThermalState::fair, reading, 101.0));
        EXPECT_FALSE(safety.pressureStartedAt());
        EXPECT_FALSE(safety.graceRemaining());
    }
    EXPECT_FALSE(safety.evaluate(SystemThermalState::nominal, std::nullopt, 102.0));
}

TEST(SessionThermalSafetyTests, GracePeriodStartsWithPressure) {
    SessionThermalSafety safety;
    EXPECT_FALSE(safety.evaluate(SystemThermalState::serious, coolReading, 100.0));
    EXPECT_EQ(safety.pressureStartedAt(), 100.0);
    EXPECT_EQ(safety.graceRemaining(), 30.0);
}

TEST(SessionThermalSafetyTests, SessionEndsOnceThirtySecondsHavePassed) {
    SessionThermalSafety safety;
    safety.evaluate(SystemThermalState::serious, coolReading, 100.0);
    EXPECT_FALSE(safety.evaluate(SystemThermalState::serious, coolReading, 129.5));
    EXPECT_EQ(safety.graceRemaining(), 0.5);
    EXPECT_TRUE(safety.evaluate(SystemThermalState::serious, coolReading, 130.0));
    EXPECT_FALSE(safety.graceRemaining());
    EXPECT_EQ(safety.pressureStartedAt(), 100.0);
}

TEST(SessionThermalSafetyTests, NoUntrustworthyOrWarmReadingEarnsGrace) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const std::optional<double> reading :
         {std::optional<double>(35.0), std::optional<double>(-0.5), std::optional<double>(),
          std::optional<double>(infinity), std::optional<double>(-infinity),
          std::optional<double>(std::numeric_limits<double>::quiet_NaN())}) {
        SessionThermalSafety safety;
        EXPECT_TRUE(safety.evaluate(SystemThermalState::critical, reading, 100.0));
        EXPECT_FALSE(safety.graceRemaining());
        EXPECT_EQ(safety.pressureStartedAt(), 100.0);
    }
}

TEST(SessionThermalSafetyTests, ZeroDegreesIsACoolReading) {
    SessionThermalSafety safety;
    EXPECT_FALSE(safety.evaluate(SystemThermalState::critical, 0.0, 100.0));
}

TEST(SessionThermalSafetyTests, AWarmReadingEndsTheSessionWhateverGraceIsLeft) {
    SessionThermalSafety safety;
    safety.evaluate(SystemThermalState::serious, coolReading, 100.0);
    EXPECT_TRUE(safety.evaluate(SystemThermalState::serious, 40.0, 101.0));
    EXPECT_FALSE(safety.graceRemaining());
    // The stretch of pressure is still the one that began at 100.
    EXPECT_FALSE(safety.evaluate(SystemThermalState::serious, coolReading, 110.0));
    EXPECT_EQ(safety.graceRemaining(), 20.0);
}

TEST(SessionThermalSafetyTests, OneUpdateWithoutPressureRestartsThePeriod) {
    SessionThermalSafety safety;
    safety.evaluate(SystemThermalState::serious, coolReading, 100.0);
    safety.evaluate(SystemThermalState::nominal, coolReading, 125.0);
    EXPECT_FALSE(safety.evaluate(SystemThermalState::critical, coolReading, 140.0));
    EXPECT_EQ(safety.pressureStartedAt(), 140.0);
    EXPECT_EQ(safety.graceRemaining(), 30.0);
    EXPECT_FALSE(safety.evaluate(SystemThermalState::critical, coolReading, 169.0));
    EXPECT_TRUE(safety.evaluate(SystemThermalState::critical, coolReading, 170.0));
}

TEST(SessionThermalSafetyTests, ClockGoingBackwardsGrantsTheWholePeriod) {
    SessionThermalSafety safety;
    safety.evaluate(SystemThermalState::serious, coolReading, 100.0);
    EXPECT_FALSE(safety.evaluate(SystemThermalState::serious, coolReading, 90.0));
    EXPECT_EQ(safety.graceRemaining(), 30.0);
    EXPECT_EQ(safety.pressureStartedAt(), 100.0);
}

}  // namespace
}  // namespace tallowbeck
