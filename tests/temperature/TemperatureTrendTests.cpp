#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_set>
#include <vector>

#include "TallowbeckCore/temperature/TemperatureTrend.hpp"

namespace tallowbeck {
namespace {

TemperatureSample at(double time, std::optional<double> battery) {
    return TemperatureSample(UUID::random(), time, battery, std::nullopt, std::nullopt,
                             SystemThermalState::nominal, false, false);
}

TemperatureTrend trend(const std::vector<TemperatureSample>& samples, double window = 600.0,
                       double threshold = 0.5) {
    return TemperatureTrend::evaluate(samples, window, threshold);
}

TEST(TemperatureTrendTests, TextValues) {
    EXPECT_EQ(TemperatureTrend(TemperatureTrend::rising).textValue(), "rising");
    EXPECT_EQ(TemperatureTrend(TemperatureTrend::steady).textValue(), "steady");
    EXPECT_EQ(TemperatureTrend(TemperatureTrend::falling).textValue(), "falling");
    EXPECT_EQ(TemperatureTrend(TemperatureTrend::unavailable).textValue(), "unavailable");
    for (const TemperatureTrend::Value value :
         {TemperatureTrend::rising, TemperatureTrend::steady, TemperatureTrend::falling,
          TemperatureTrend::unavailable}) {
        EXPECT_EQ(TemperatureTrend::fromText(TemperatureTrend(value).textValue()), value);
    }
    EXPECT_FALSE(TemperatureTrend::fromText("Rising"));
    EXPECT_FALSE(TemperatureTrend::fromText("rising "));
    EXPECT_FALSE(TemperatureTrend::fromText(""));
}

TEST(TemperatureTrendTests, IsHashable) {
    const std::unordered_set<TemperatureTrend> trends{
        TemperatureTrend::rising, TemperatureTrend::steady, TemperatureTrend::rising};
    EXPECT_EQ(trends.size(), 2u);
    EXPECT_TRUE(trends.contains(TemperatureTrend::steady));
}

TEST(TemperatureTrendTests, NothingToCompareIsUnavailable) {
    EXPECT_EQ(trend({}), TemperatureTrend::unavailable);
    EXPECT_EQ(trend({at(100.0, std::nullopt), at(200.0, std::nullopt)}),
              TemperatureTrend::unavailable);
}

TEST(TemperatureTrendTests, OneMomentIsUnavailable) {
    EXPECT_EQ(trend({at(100.0, 30.0)}), TemperatureTrend::unavailable);
    EXPECT_EQ(trend({at(100.0, 30.0), at(100.0, 40.0), at(100.0, 20.0)}),
              TemperatureTrend::unavailable);
}

TEST(TemperatureTrendTests, ThresholdIsInclusiveEitherWay) {
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 30.5)}), TemperatureTrend::rising);
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 29.5)}), TemperatureTrend::falling);
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 30.49)}), TemperatureTrend::steady);
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 29.51)}), TemperatureTrend::steady);
}

TEST(TemperatureTrendTests, SampleOlderThanTheWindowIsIgnored) {
    EXPECT_EQ(trend({at(399.0, 20.0), at(1000.0, 30.0)}), TemperatureTrend::unavailable);
    EXPECT_EQ(trend({at(400.0, 20.0), at(1000.0, 30.0)}), TemperatureTrend::rising);
}

TEST(TemperatureTrendTests, OnlyTheEndPointsCount) {
    // The middle samples swing widely; only 30.0 at 100 and 30.2 at 400 matter.
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 45.0), at(300.0, 10.0), at(400.0, 30.2)}),
              TemperatureTrend::steady);
}

TEST(TemperatureTrendTests, OrderOfTheListDoesNotMatter) {
    std::vector<TemperatureSample> samples;
    for (int index = 0; index < 20; ++index) {
        samples.push_back(at(1000.0 + index * 50.0, 30.0 + (index % 3) - index * 0.1));
    }
    const TemperatureTrend sorted = trend(samples);
    ASSERT_EQ(sorted, TemperatureTrend::falling);
    std::mt19937 generator(7);
    for (int round = 0; round < 10; ++round) {
        std::shuffle(samples.begin(), samples.end(), generator);
        EXPECT_EQ(trend(samples), sorted);
    }
}

TEST(TemperatureTrendTests, NewestSampleWithoutABatteryValueIsNotTheLatest) {
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 31.0), at(300.0, std::nullopt)}),
              TemperatureTrend::rising);
    // Taking the empty sample at 300 as the latest would move the cut-off to 150 and leave
    // only the sample at 200 in the window.
    EXPECT_EQ(
        trend({at(40.0, 30.0), at(100.0, 30.0), at(200.0, 31.0), at(300.0, std::nullopt)}, 150.0),
        TemperatureTrend::rising);
}

TEST(TemperatureTrendTests, OldestSampleWithoutABatteryValueIsNotTheEarliest) {
    EXPECT_EQ(trend({at(100.0, std::nullopt), at(200.0, 30.0), at(300.0, 31.0)}),
              TemperatureTrend::rising);
    // Taken as the earliest, the empty sample would make two moments out of one reading.
    EXPECT_EQ(trend({at(100.0, std::nullopt), at(300.0, 31.0)}), TemperatureTrend::unavailable);
}

TEST(TemperatureTrendTests, TiesAtTheLatestTimeGoToTheLaterListEntry) {
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 31.0), at(200.0, 29.0)}),
              TemperatureTrend::falling);
    EXPECT_EQ(trend({at(100.0, 30.0), at(200.0, 29.0), at(200.0, 31.0)}), TemperatureTrend::rising);
}

TEST(TemperatureTrendTests, TiesAtTheEarliestTimeGoToTheFirstListEntry) {
    EXPECT_EQ(trend({at(100.0, 29.0), at(100.0, 31.0), at(200.0, 30.0)}), TemperatureTrend::rising);
    EXPECT_EQ(trend({at(100.0, 31.0), at(100.0, 29.0), at(200.0, 30.0)}),
              TemperatureTrend::falling);
}

}  // namespace
}  // namespace tallowbeck
