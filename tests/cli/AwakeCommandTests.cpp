#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "cli/AwakeCommand.hpp"
#include "tests/testing/LocalTimeZone.hpp"

namespace tallowbeck {
namespace {

using cli::AwakeCommand;

TEST(AwakeCommandTests, DurationsCountHoursMinutesAndSeconds) {
    EXPECT_EQ(AwakeCommand::parseDuration("90s"), 90.0);
    EXPECT_EQ(AwakeCommand::parseDuration("45m"), 2700.0);
    EXPECT_EQ(AwakeCommand::parseDuration("2h"), 7200.0);
    EXPECT_EQ(AwakeCommand::parseDuration("1h30m"), 5400.0);
    EXPECT_EQ(AwakeCommand::parseDuration("1h30m15s"), 5415.0);
    EXPECT_EQ(AwakeCommand::parseDuration("1h15s"), 3615.0);
    EXPECT_EQ(AwakeCommand::parseDuration("90"), 90.0);
    EXPECT_EQ(AwakeCommand::parseDuration("8760h"), 365.0 * 24 * 3600);
}

TEST(AwakeCommandTests, OtherDurationTextsAreRefused) {
    for (const char* text :
         {"", "0s", "0", "0h0m", "s", "h30m", "30m1h", "1h1h", "1.5h", "-5s", "+5s", "1d", "5 s",
          " 5s", "5s ", "1h30", "8761h", "99999999999999999999s"}) {
        EXPECT_EQ(AwakeCommand::parseDuration(text), std::nullopt) << text;
    }
}

constexpr double noon = 1'700'049'600.0;  // 2023-11-15T12:00:00Z

TEST(AwakeCommandTests, ALocalTimeOfDayIsItsNextComing) {
    const testing::LocalTimeZone utc("UTC0");
    EXPECT_EQ(AwakeCommand::parseEndTime("18:30", noon), noon + 6.5 * 3600);
    EXPECT_EQ(AwakeCommand::parseEndTime("12:00:30", noon), noon + 30);
    EXPECT_EQ(AwakeCommand::parseEndTime("12:00", noon), noon + 24 * 3600);
    EXPECT_EQ(AwakeCommand::parseEndTime("08:15", noon), noon + (24 - 3.75) * 3600);
}

TEST(AwakeCommandTests, ATimeOfDayIsTheLocalZones) {
    const testing::LocalTimeZone berlin("CET-1");
    EXPECT_EQ(AwakeCommand::parseEndTime("18:30", noon), noon + 5.5 * 3600);
}

TEST(AwakeCommandTests, ADateTimeMustLieAhead) {
    EXPECT_EQ(AwakeCommand::parseEndTime("2023-11-15T12:00:01Z", noon), noon + 1);
    EXPECT_EQ(AwakeCommand::parseEndTime("2023-11-15T13:30:00+02:00", noon), std::nullopt);
    EXPECT_EQ(AwakeCommand::parseEndTime("2023-11-15T12:00:00Z", noon), std::nullopt);
}

TEST(AwakeCommandTests, OtherEndTimesAreRefused) {
    const testing::LocalTimeZone utc("UTC0");
    for (const char* text : {"", "9:30", "24:00", "12:60", "12:00:60", "12", "12:00:00:00",
                             "12:00 ", "-1:00", "noon", "2023-11-16"}) {
        EXPECT_EQ(AwakeCommand::parseEndTime(text, noon), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace tallowbeck
