// The models against the real sky, within the precision a low-order model can give.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "TallowbeckCore/astronomy/LunarCalculator.hpp"
#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"

namespace tallowbeck {
namespace {

constexpr double day = 86400.0;
constexpr double minute = 60.0;

double at(std::string_view text) {
    const std::optional<double> seconds = InternetDateTime::secondsSince1970(text);
    EXPECT_TRUE(seconds) << text;
    return seconds.value_or(0.0);
}

// Published instants (UTC, to the minute) of the Moon's phases in 2024, as tabulated by the US
// Naval Observatory's Astronomical Applications Department ("Phases of the Moon").
constexpr std::array<std::string_view, 13> newMoons2024{
    "2024-01-11T11:57:00Z", "2024-02-09T22:59:00Z", "2024-03-10T09:00:00Z", "2024-04-08T18:21:00Z",
    "2024-05-08T03:22:00Z", "2024-06-06T12:38:00Z", "2024-07-05T22:57:00Z", "2024-08-04T11:13:00Z",
    "2024-09-03T01:55:00Z", "2024-10-02T18:49:00Z", "2024-11-01T12:47:00Z", "2024-12-01T06:21:00Z",
    "2024-12-30T22:27:00Z",
};
constexpr std::array<std::string_view, 12> fullMoons2024{
    "2024-01-25T17:54:00Z", "2024-02-24T12:30:00Z", "2024-03-25T07:00:00Z", "2024-04-23T23:49:00Z",
    "2024-05-23T13:53:00Z", "2024-06-22T01:08:00Z", "2024-07-21T10:17:00Z", "2024-08-19T18:26:00Z",
    "2024-09-18T02:34:00Z", "2024-10-17T11:26:00Z", "2024-11-15T21:28:00Z", "2024-12-15T09:02:00Z",
};

// The next new and full moon are extrapolated from the current phase at the mean synodic rate, so
// they are asked for a week ahead, where that is within a day of the real instant.
TEST(SkyComparisonTests, NewMoonsOf2024WithinADay) {
    for (const std::string_view published : newMoons2024) {
        const double instant = at(published);
        const LunarSnapshot week = LunarCalculator::snapshot(instant - 7 * day, 0, 0);
        EXPECT_NEAR(week.nextNewMoon, instant, day) << published;
        EXPECT_EQ(LunarCalculator::snapshot(instant, 0, 0).phase, LunarPhase::newMoon) << published;
    }
}

TEST(SkyComparisonTests, FullMoonsOf2024WithinADay) {
    for (const std::string_view published : fullMoons2024) {
        const double instant = at(published);
        const LunarSnapshot week = LunarCalculator::snapshot(instant - 7 * day, 0, 0);
        EXPECT_NEAR(week.nextFullMoon, instant, day) << published;
        EXPECT_EQ(LunarCalculator::snapshot(instant, 0, 0).phase, LunarPhase::fullMoon)
            << published;
    }
}

TEST(SkyComparisonTests, MoonriseForAMidLatitudeObserverWithinFifteenMinutes) {
    // The US Naval Observatory, Washington DC (38.9216° N, 77.0669° W), on 2024-03-25: moonrise
    // at 23:59:50 UTC (19:59:50 EDT) under the almanac convention (upper limb on the horizon,
    // 34' of refraction). This instant was computed with PyEphem 4.1.4, not read from a
    // published table.
    const auto event =
        LunarCalculator::nextHorizonEvent(at("2024-03-25T12:00:00Z"), 38.9216, -77.0669);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->kind, LunarHorizonEventKind::rise);
    EXPECT_NEAR(event->date, at("2024-03-25T23:59:50Z"), 15 * minute);
}

struct PublishedApproach {
    std::string_view date;  // the day of the closest approach (UTC)
    double kilometers;
};

// Closest approaches of Earth and Mars as published by NASA and ESA: 6 October 2020, 62.07
// million km; 1 December 2022, 81.45 million km; 12 January 2025, 96.08 million km.
constexpr std::array<PublishedApproach, 3> marsApproaches{{
    {"2020-10-06T12:00:00Z", 62.07e6},
    {"2022-12-01T12:00:00Z", 81.45e6},
    {"2025-01-12T12:00:00Z", 96.08e6},
}};

TEST(SkyComparisonTests, EarthMarsClosestApproachesWithinTwoDaysAndOnePercent) {
    for (const PublishedApproach& published : marsApproaches) {
        const double date = at(published.date);
        const PlanetaryClosestApproach approach =
            MarsMissionCalculator::closestApproach(date - 120 * day);
        EXPECT_NEAR(approach.date, date, 2 * day) << published.date;
        EXPECT_NEAR(approach.distanceKilometers, published.kilometers, 0.01 * published.kilometers)
            << published.date;
    }
}

}  // namespace
}  // namespace tallowbeck
