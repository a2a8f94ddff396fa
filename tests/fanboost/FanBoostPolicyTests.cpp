#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "TallowbeckCore/fanboost/FanBoostPolicy.hpp"

namespace tallowbeck {
namespace {

using Action = FanBoostPolicy::Action;

constexpr double now = 1'700'000'000.0;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const FanBoostConfiguration eighty{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0};

ChipTemperatureReading reading(std::optional<double> cpu, std::optional<double> gpu,
                               double recordedAt = now) {
    return {.recordedAt = recordedAt, .cpuCelsius = cpu, .gpuCelsius = gpu};
}

Action nominal(FanBoostPolicy& policy, double cpu, double gpu) {
    return policy.action(eighty, reading(cpu, gpu), SystemThermalState::nominal, now);
}

TEST(FanBoostPolicyTests, ANewPolicyIsNotBoosting) { EXPECT_FALSE(FanBoostPolicy().boosting); }

TEST(FanBoostPolicyTests, ATemperatureEqualToItsThresholdDoesNotTrigger) {
    FanBoostPolicy policy;
    EXPECT_EQ(nominal(policy, 80.0, 80.0), Action::automatic);
    EXPECT_FALSE(policy.boosting);
}

TEST(FanBoostPolicyTests, OnceTriggeredItHoldsMaximumUntilBothChipsAreEightDegreesBelow) {
    FanBoostPolicy policy;
    EXPECT_EQ(nominal(policy, 80.5, 80.0), Action::maximum);
    EXPECT_TRUE(policy.boosting);
    EXPECT_EQ(nominal(policy, 75.0, 70.0), Action::maximum);
    EXPECT_TRUE(policy.boosting);
    EXPECT_EQ(nominal(policy, 71.9, 71.9), Action::automatic);
    EXPECT_FALSE(policy.boosting);
}

TEST(FanBoostPolicyTests, ExactlyEightDegreesBelowKeepsThePreviousDecision) {
    FanBoostPolicy boosting;
    boosting.boosting = true;
    EXPECT_EQ(nominal(boosting, 72.0, 60.0), Action::maximum);
    EXPECT_TRUE(boosting.boosting);
    FanBoostPolicy idle;
    EXPECT_EQ(nominal(idle, 72.0, 60.0), Action::automatic);
    EXPECT_FALSE(idle.boosting);
}

TEST(FanBoostPolicyTests, TheGPUAloneTriggersAndAloneHoldsTheBoost) {
    FanBoostPolicy policy;
    EXPECT_EQ(nominal(policy, 50.0, 80.25), Action::maximum);
    EXPECT_EQ(nominal(policy, 50.0, 76.0), Action::maximum);
    EXPECT_EQ(nominal(policy, 50.0, 71.0), Action::automatic);
}

TEST(FanBoostPolicyTests, TheHysteresisIsTheSameForAnyThreshold) {
    FanBoostPolicy policy;
    const FanBoostConfiguration mixed{.cpuThresholdCelsius = 65.0, .gpuThresholdCelsius = 95.0};
    const auto act = [&](double cpu, double gpu) {
        return policy.action(mixed, reading(cpu, gpu), SystemThermalState::nominal, now);
    };
    EXPECT_EQ(act(66.0, 50.0), Action::maximum);
    EXPECT_EQ(act(57.0, 87.0), Action::maximum);
    EXPECT_EQ(act(56.5, 86.5), Action::automatic);
}

TEST(FanBoostPolicyTests, SeriousOrCriticalPressureTriggersWithCoolReadings) {
    for (const SystemThermalState state :
         {SystemThermalState::serious, SystemThermalState::critical}) {
        FanBoostPolicy policy;
        EXPECT_EQ(policy.action(eighty, reading(40.0, 40.0), state, now), Action::maximum);
        EXPECT_TRUE(policy.boosting);
    }
}

TEST(FanBoostPolicyTests, FairPressureNeverTriggersByItself) {
    FanBoostPolicy policy;
    EXPECT_EQ(policy.action(eighty, reading(40.0, 40.0), SystemThermalState::fair, now),
              Action::automatic);
}

TEST(FanBoostPolicyTests, AMissingValueStopsEvenUnderCriticalPressure) {
    FanBoostPolicy policy;
    policy.boosting = true;
    EXPECT_EQ(policy.action(eighty, reading(40.0, std::nullopt), SystemThermalState::critical, now),
              Action::stop);
    EXPECT_FALSE(policy.boosting);
    EXPECT_EQ(policy.action(eighty, reading(std::nullopt, 40.0), SystemThermalState::critical, now),
              Action::stop);
}

TEST(FanBoostPolicyTests, AReadingExactlyTenSecondsOldIsUsed) {
    FanBoostPolicy policy;
    EXPECT_EQ(
        policy.action(eighty, reading(85.0, 40.0, now - 10.0), SystemThermalState::nominal, now),
        Action::maximum);
}

TEST(FanBoostPolicyTests, AReadingAnyOlderOrFromTheFutureStops) {
    for (const double recordedAt : {std::nextafter(now - 10.0, 0.0), now - 60.0, now + 1.0,
                                    std::nextafter(now, now + 1.0), nan}) {
        FanBoostPolicy policy;
        policy.boosting = true;
        EXPECT_EQ(policy.action(eighty, reading(85.0, 40.0, recordedAt),
                                SystemThermalState::critical, now),
                  Action::stop)
            << recordedAt;
        EXPECT_FALSE(policy.boosting);
    }
}

TEST(FanBoostPolicyTests, ANaNClockStops) {
    FanBoostPolicy policy;
    EXPECT_EQ(policy.action(eighty, reading(85.0, 40.0), SystemThermalState::nominal, nan),
              Action::stop);
}

TEST(FanBoostPolicyTests, AnImplausibleTemperatureStopsAndClearsTheBoost) {
    for (const double celsius : {0.5, 126.0, 125.25, nan, -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::infinity()}) {
        FanBoostPolicy policy;
        policy.boosting = true;
        EXPECT_EQ(nominal(policy, celsius, 40.0), Action::stop) << celsius;
        EXPECT_FALSE(policy.boosting);
        EXPECT_EQ(nominal(policy, 40.0, celsius), Action::stop) << celsius;
    }
}

TEST(FanBoostPolicyTests, TheEndsOfThePlausibleRangePass) {
    FanBoostPolicy policy;
    EXPECT_EQ(nominal(policy, 1.0, 1.0), Action::automatic);
    EXPECT_EQ(nominal(policy, 125.0, 1.0), Action::maximum);
}

TEST(FanBoostPolicyTests, AnInvalidConfigurationStopsWhateverTheReadings) {
    const FanBoostConfiguration low{.cpuThresholdCelsius = 64.0, .gpuThresholdCelsius = 80.0};
    for (const double cpu : {40.0, 70.0, 90.0}) {
        FanBoostPolicy policy;
        policy.boosting = true;
        EXPECT_EQ(policy.action(low, reading(cpu, 50.0), SystemThermalState::critical, now),
                  Action::stop);
        EXPECT_FALSE(policy.boosting);
    }
    FanBoostPolicy policy;
    EXPECT_EQ(policy.action({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = nan},
                            reading(90.0, 90.0), SystemThermalState::nominal, now),
              Action::stop);
}

}  // namespace
}  // namespace tallowbeck
