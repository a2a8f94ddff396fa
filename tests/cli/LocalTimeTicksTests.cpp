#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>
#include <optional>
#include <string>

#include "cli/LocalTimeTicks.hpp"

namespace tallowbeck {
namespace {

using cli::LocalTimeTicks;

// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;
constexpr double hour = 3600;
constexpr double day = 86400;

// The process runs in time zone `zone` while this exists.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        if (const char* current = std::getenv("TZ")) {
            previous_ = current;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~TimeZone() {
        if (previous_) {
            ::setenv("TZ", previous_->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> previous_;
};

TEST(LocalTimeTicksTests, FallOnRoundLocalTimesWithTheDayUnderTheFirst) {
    const TimeZone zone("Asia/Kathmandu");  // UTC+05:45
    const auto ticks = LocalTimeTicks::between(noon, noon + hour, 6);
    // Every quarter of an hour, from noon UTC, which is 17:45 there.
    ASSERT_EQ(ticks.size(), 5U);
    EXPECT_EQ(ticks[0].time, noon);
    EXPECT_EQ(ticks[0].label, "17:45");
    EXPECT_EQ(ticks[0].date, "Wed 01 May");
    EXPECT_EQ(ticks[1].time, noon + 15 * 60);
    EXPECT_EQ(ticks[4].label, "18:45");
    EXPECT_EQ(ticks[4].date, "");
}

TEST(LocalTimeTicksTests, NameTheDayAgainAtLocalMidnight) {
    const TimeZone zone("Europe/Berlin");
    const auto ticks = LocalTimeTicks::between(noon, noon + day, 8);
    ASSERT_EQ(ticks.size(), 8U);  // every three hours from 15:00 to 12:00 the next day
    EXPECT_EQ(ticks[0].label, "15:00");
    EXPECT_EQ(ticks[3].label, "00:00");
    EXPECT_EQ(ticks[3].date, "Thu 02 May");
    EXPECT_EQ(ticks[4].date, "");
}

TEST(LocalTimeTicksTests, AMonthIsMarkedAtMidnightsDaysApart) {
    const TimeZone zone("Europe/Berlin");
    const auto ticks = LocalTimeTicks::between(noon, noon + 30 * day, 8);
    ASSERT_EQ(ticks.size(), 5U);  // every seven days
    EXPECT_EQ(ticks[0].label, "02 May");
    EXPECT_EQ(ticks[1].label, "09 May");
    EXPECT_EQ(ticks[1].time - ticks[0].time, 7 * day);
}

TEST(LocalTimeTicksTests, NameTheZoneByAbbreviationAndOffset) {
    {
        const TimeZone zone("Europe/Berlin");
        EXPECT_EQ(LocalTimeTicks::zoneName(noon), "CEST (UTC+02:00)");
        EXPECT_EQ(LocalTimeTicks::zoneName(noon - 180 * day), "CET (UTC+01:00)");
    }
    const TimeZone zone("America/St_Johns");
    EXPECT_EQ(LocalTimeTicks::zoneName(noon), "NDT (UTC-02:30)");
}

}  // namespace
}  // namespace tallowbeck
