#include <gtest/gtest.h>

#include <limits>

#include "TallowbeckCore/support/LocalCalendar.hpp"
#include "tests/testing/LocalTimeZone.hpp"

namespace tallowbeck {
namespace {

constexpr double hour = 3600.0;
constexpr double day = 24 * hour;
// US Eastern rules; clocks went forward on 2024-03-10 and back on 2024-11-03.
constexpr const char* eastern = "EST5EDT,M3.2.0,M11.1.0";
constexpr double march10NoonEastern = 1710086400.0;    // 2024-03-10T16:00:00Z, EDT
constexpr double november3NoonEastern = 1730653200.0;  // 2024-11-03T17:00:00Z, EST

TEST(LocalCalendarTests, ADayAcrossTheSpringChangeLasts23Hours) {
    const testing::LocalTimeZone zone(eastern);
    EXPECT_EQ(LocalCalendar::addingDays(march10NoonEastern, -1), march10NoonEastern - 23 * hour);
}

TEST(LocalCalendarTests, ADayAcrossTheAutumnChangeLasts25Hours) {
    const testing::LocalTimeZone zone(eastern);
    EXPECT_EQ(LocalCalendar::addingDays(november3NoonEastern, -1),
              november3NoonEastern - 25 * hour);
}

TEST(LocalCalendarTests, DaysWithoutAChangeLast24HoursAndKeepTheFraction) {
    const testing::LocalTimeZone zone(eastern);
    EXPECT_EQ(LocalCalendar::addingDays(march10NoonEastern + 7 * day + 0.25, -7),
              march10NoonEastern + 0.25);
    EXPECT_EQ(LocalCalendar::addingDays(march10NoonEastern, 0), march10NoonEastern);
}

TEST(LocalCalendarTests, CrossesMonthAndYearEnds) {
    const testing::LocalTimeZone zone("UTC0");
    constexpr double newYear2024 = 1704067200.0;
    EXPECT_EQ(LocalCalendar::addingDays(newYear2024, -1), newYear2024 - day);
    EXPECT_EQ(LocalCalendar::addingDays(newYear2024, 366), newYear2024 + 366 * day);
}

TEST(LocalCalendarTests, ATimeOrDayCountThatCannotBeExpressedGivesNothing) {
    const testing::LocalTimeZone zone("UTC0");
    EXPECT_FALSE(LocalCalendar::addingDays(std::numeric_limits<double>::quiet_NaN(), -1));
    EXPECT_FALSE(LocalCalendar::addingDays(std::numeric_limits<double>::infinity(), -1));
    EXPECT_FALSE(LocalCalendar::addingDays(1e300, -1));
    EXPECT_FALSE(LocalCalendar::addingDays(0, std::numeric_limits<std::int64_t>::min()));
}

}  // namespace
}  // namespace tallowbeck
