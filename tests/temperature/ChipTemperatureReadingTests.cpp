#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

ChipTemperatureReading reading(std::optional<double> cpu, std::optional<double> gpu) {
    return {.recordedAt = 1'700'000'000.0, .cpuCelsius = cpu, .gpuCelsius = gpu};
}

TEST(ChipTemperatureReadingTests, HottestIsAbsentWhenBothValuesAre) {
    EXPECT_EQ(reading(std::nullopt, std::nullopt).hottestCelsius(), std::nullopt);
}

TEST(ChipTemperatureReadingTests, HottestIsTheOnlyPresentValue) {
    EXPECT_EQ(reading(52.0, std::nullopt).hottestCelsius(), 52.0);
    EXPECT_EQ(reading(std::nullopt, 47.5).hottestCelsius(), 47.5);
}

TEST(ChipTemperatureReadingTests, HottestIsTheLargerValue) {
    EXPECT_EQ(reading(52.0, 47.5).hottestCelsius(), 52.0);
    EXPECT_EQ(reading(47.5, 52.0).hottestCelsius(), 52.0);
}

TEST(ChipTemperatureReadingTests, OnATieTheCPUValueIsTaken) {
    const std::optional<double> hottest = reading(-0.0, 0.0).hottestCelsius();
    ASSERT_TRUE(hottest.has_value());
    EXPECT_TRUE(std::signbit(*hottest));
}

TEST(ChipTemperatureReadingTests, ValuesThatAreNotFiniteAreLeftOut) {
    EXPECT_EQ(reading(nan, 47.5).hottestCelsius(), 47.5);
    EXPECT_EQ(reading(infinity, 47.5).hottestCelsius(), 47.5);
    EXPECT_EQ(reading(52.0, nan).hottestCelsius(), 52.0);
    EXPECT_EQ(reading(52.0, infinity).hottestCelsius(), 52.0);
    EXPECT_EQ(reading(-infinity, 47.5).hottestCelsius(), 47.5);
    EXPECT_EQ(reading(nan, infinity).hottestCelsius(), std::nullopt);
    EXPECT_EQ(reading(std::nullopt, nan).hottestCelsius(), std::nullopt);
}

TEST(ChipTemperatureReadingTests, OneHundredDegreesIsNotAboveTheCriticalLimit) {
    EXPECT_FALSE(reading(100.0, std::nullopt).isAboveCriticalLimit());
    EXPECT_FALSE(reading(60.0, 100.0).isAboveCriticalLimit());
}

TEST(ChipTemperatureReadingTests, AnythingHotterThanOneHundredDegreesIsAboveTheCriticalLimit) {
    EXPECT_TRUE(reading(100.25, std::nullopt).isAboveCriticalLimit());
    EXPECT_TRUE(reading(60.0, 100.25).isAboveCriticalLimit());
    EXPECT_TRUE(reading(std::nextafter(100.0, 200.0), 20.0).isAboveCriticalLimit());
}

TEST(ChipTemperatureReadingTests, NoValueIsNotAboveTheCriticalLimit) {
    EXPECT_FALSE(reading(std::nullopt, std::nullopt).isAboveCriticalLimit());
    EXPECT_FALSE(reading(infinity, nan).isAboveCriticalLimit());
    EXPECT_FALSE(reading(infinity, 60.0).isAboveCriticalLimit());
}

TEST(ChipTemperatureReadingTests, ReadingsAreEqualWhenEveryFieldIs) {
    EXPECT_EQ(reading(52.0, 47.5), reading(52.0, 47.5));
    EXPECT_NE(reading(52.0, 47.5), reading(52.0, std::nullopt));
    EXPECT_NE(reading(52.0, 47.5), reading(47.5, 52.0));
    ChipTemperatureReading later = reading(52.0, 47.5);
    later.recordedAt += 1.0;
    EXPECT_NE(later, reading(52.0, 47.5));
}

}  // namespace
}  // namespace tallowbeck
