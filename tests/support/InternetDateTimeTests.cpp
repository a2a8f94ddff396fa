#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/support/InternetDateTime.hpp"

namespace tallowbeck {
namespace {

// 2024-05-01T12:34:56Z
constexpr double mayFirst = 1714566896.0;

TEST(InternetDateTimeTests, WritesUTCWithWholeSeconds) {
    EXPECT_EQ(InternetDateTime::text(mayFirst), "2024-05-01T12:34:56Z");
    EXPECT_EQ(InternetDateTime::text(0.0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(InternetDateTime::text(951782400.0), "2000-02-29T00:00:00Z");
}

TEST(InternetDateTimeTests, DropsTheFractionOfASecond) {
    EXPECT_EQ(InternetDateTime::text(mayFirst + 0.75), "2024-05-01T12:34:56Z");
    EXPECT_EQ(InternetDateTime::text(mayFirst + 0.999999), "2024-05-01T12:34:56Z");
    // Before 1970 the earlier whole second is the one the time lies in.
    EXPECT_EQ(InternetDateTime::text(-0.25), "1969-12-31T23:59:59Z");
}

TEST(InternetDateTimeTests, CoversTheFourDigitYears) {
    EXPECT_EQ(InternetDateTime::text(-62167219200.0), "0000-01-01T00:00:00Z");
    EXPECT_EQ(InternetDateTime::text(253402300799.0), "9999-12-31T23:59:59Z");
    EXPECT_THROW(InternetDateTime::text(253402300800.0), std::out_of_range);
    EXPECT_THROW(InternetDateTime::text(-62167219201.0), std::out_of_range);
    EXPECT_THROW(InternetDateTime::text(std::numeric_limits<double>::quiet_NaN()),
                 std::out_of_range);
    EXPECT_THROW(InternetDateTime::text(std::numeric_limits<double>::infinity()),
                 std::out_of_range);
}

TEST(InternetDateTimeTests, ReadsWhatItWrites) {
    for (const double seconds : {mayFirst, 0.0, -86401.0, 253402300799.0, -62167219200.0}) {
        EXPECT_EQ(InternetDateTime::secondsSince1970(InternetDateTime::text(seconds)), seconds);
    }
}

TEST(InternetDateTimeTests, ReadsNumericOffsets) {
    EXPECT_EQ(InternetDateTime::secondsSince1970("2024-05-01T14:34:56+02:00"), mayFirst);
    EXPECT_EQ(InternetDateTime::secondsSince1970("2024-05-01T07:04:56-05:30"), mayFirst);
    EXPECT_EQ(InternetDateTime::secondsSince1970("2024-05-01T12:34:56-00:00"), mayFirst);
}

TEST(InternetDateTimeTests, RejectsOffsetsThatLeaveTheFourDigitYears) {
    EXPECT_FALSE(InternetDateTime::secondsSince1970("0000-01-01T00:30:00+01:00"));
    EXPECT_FALSE(InternetDateTime::secondsSince1970("9999-12-31T23:30:00-01:00"));
    EXPECT_EQ(InternetDateTime::secondsSince1970("0000-01-01T01:00:00+01:00"), -62167219200.0);
}

TEST(InternetDateTimeTests, RejectsAnythingElse) {
    for (const std::string_view text : {
             "",
             "2024-05-01",
             "2024-05-01T12:34:56",
             "2024-05-01T12:34:56.250Z",
             "2024-05-01 12:34:56Z",
             "2024-05-01T12:34:56z",
             "2024-13-01T12:34:56Z",
             "2023-02-29T12:34:56Z",
             "2024-04-31T12:34:56Z",
             "2024-05-00T12:34:56Z",
             "2024-05-01T24:00:00Z",
             "2024-05-01T12:60:00Z",
             "2024-05-01T12:34:60Z",
             "2024-05-01T12:34:56+2:00",
             "2024-05-01T12:34:56+24:00",
             "2024-05-01T12:34:56+02:60",
             "2024-05-01T12:34:56Z ",
             "+2024-05-01T12:34:56Z",
             "2024-5-01T12:34:56Z",
             "20a4-05-01T12:34:56Z",
         }) {
        EXPECT_FALSE(InternetDateTime::secondsSince1970(text)) << text;
    }
}

TEST(InternetDateTimeTests, WritesMillisecondsRoundedToTheNearest) {
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(mayFirst), "2024-05-01T12:34:56.000Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(mayFirst + 0.25), "2024-05-01T12:34:56.250Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(mayFirst + 0.1234),
              "2024-05-01T12:34:56.123Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(mayFirst + 0.1236),
              "2024-05-01T12:34:56.124Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(mayFirst + 0.9996),
              "2024-05-01T12:34:57.000Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(59.9999), "1970-01-01T00:01:00.000Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(-0.25), "1969-12-31T23:59:59.750Z");
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(-0.0001), "1970-01-01T00:00:00.000Z");
}

TEST(InternetDateTimeTests, MillisecondTextCoversTheFourDigitYearsOnly) {
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(253402300799.999), "9999-12-31T23:59:59.999Z");
    EXPECT_THROW(InternetDateTime::textWithMilliseconds(253402300799.9996), std::out_of_range);
    EXPECT_THROW(InternetDateTime::textWithMilliseconds(std::numeric_limits<double>::quiet_NaN()),
                 std::out_of_range);
    EXPECT_THROW(InternetDateTime::textWithMilliseconds(-std::numeric_limits<double>::infinity()),
                 std::out_of_range);
}

TEST(InternetDateTimeTests, ReadsAFractionOfASecondWhenAskedTo) {
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("2024-05-01T12:34:56.250Z"),
              mayFirst + 0.25);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("2024-05-01T14:34:56.5+02:00"),
              mayFirst + 0.5);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("2024-05-01T12:34:56Z"), mayFirst);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("2024-05-01T12:34:56.000000Z"),
              mayFirst);
    // The nearest double to the exact time, not the sum of two rounded parts.
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("2024-05-01T12:34:56.123456789Z"),
              1714566896.123456789);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("1969-12-31T23:59:59.750Z"), -0.25);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("1969-12-31T23:59:58.001Z"), -1.999);
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970("1900-01-01T00:00:00.1Z"),
              -2208988799.9);
    const std::string longest = "2024-05-01T12:34:56." + std::string(64, '9') + "Z";
    EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970(longest), mayFirst + 1);
}

TEST(InternetDateTimeTests, ReadsWhatItWritesWithMilliseconds) {
    for (const double seconds : {mayFirst + 0.25, -86400.5, 0.001, 253402300799.999}) {
        EXPECT_EQ(InternetDateTime::fractionalSecondsSince1970(
                      InternetDateTime::textWithMilliseconds(seconds)),
                  seconds);
    }
}

TEST(InternetDateTimeTests, RejectsMalformedFractions) {
    for (const std::string_view text : {
             "2024-05-01T12:34:56.Z",
             "2024-05-01T12:34:56,250Z",
             "2024-05-01T12:34:56.25a0Z",
             "2024-05-01T12:34:56.250",
             "2024-05-01T12:34:56.-25Z",
             "2024-05-01T12:34:56.250 Z",
             "2024-05-01T12:34:56.+02:00",
             "2024-05-01T12:34.5Z",
             "9999-12-31T23:59:59.9996Z",
         }) {
        EXPECT_FALSE(InternetDateTime::fractionalSecondsSince1970(text)) << text;
    }
    const std::string tooLong = "2024-05-01T12:34:56." + std::string(65, '1') + "Z";
    EXPECT_FALSE(InternetDateTime::fractionalSecondsSince1970(tooLong));
}

TEST(InternetDateTimeTests, RejectsWithFractionsWhateverTheWholeSecondFormRejects) {
    for (const std::string_view text : {"2023-02-29T12:34:56.5Z", "2024-05-01T24:00:00.5Z",
                                        "0000-01-01T00:30:00.5+01:00", "2024-05-01T12:34:56.5"}) {
        EXPECT_FALSE(InternetDateTime::fractionalSecondsSince1970(text)) << text;
    }
}

TEST(InternetDateTimeTests, CanWriteExactlyTheTimesTextWrites) {
    EXPECT_TRUE(InternetDateTime::canWrite(InternetDateTime::earliest));
    EXPECT_TRUE(InternetDateTime::canWrite(253402300799.999));
    EXPECT_TRUE(InternetDateTime::canWrite(mayFirst));
    EXPECT_FALSE(InternetDateTime::canWrite(253402300800.0));
    EXPECT_FALSE(InternetDateTime::canWrite(InternetDateTime::earliest - 0.5));
    EXPECT_FALSE(InternetDateTime::canWrite(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(InternetDateTime::canWrite(-std::numeric_limits<double>::infinity()));
    EXPECT_EQ(InternetDateTime::text(InternetDateTime::earliest), "0000-01-01T00:00:00Z");
}

TEST(InternetDateTimeTests, CanWriteWithMillisecondsExactlyTheTimesTextWithMillisecondsWrites) {
    EXPECT_TRUE(InternetDateTime::canWriteWithMilliseconds(253402300799.9994));
    EXPECT_EQ(InternetDateTime::textWithMilliseconds(253402300799.9994),
              "9999-12-31T23:59:59.999Z");
    // Its nearest millisecond lies in the year 10000.
    EXPECT_FALSE(InternetDateTime::canWriteWithMilliseconds(253402300799.9996));
    EXPECT_THROW(InternetDateTime::textWithMilliseconds(253402300799.9996), std::out_of_range);
    EXPECT_TRUE(InternetDateTime::canWriteWithMilliseconds(InternetDateTime::earliest - 0.0004));
    EXPECT_FALSE(InternetDateTime::canWriteWithMilliseconds(InternetDateTime::earliest - 0.0006));
    EXPECT_FALSE(
        InternetDateTime::canWriteWithMilliseconds(std::numeric_limits<double>::quiet_NaN()));
}

TEST(InternetDateTimeTests, AsWrittenIsTheTimeReadBack) {
    for (const double seconds : {mayFirst + 0.75, -0.25, 0.0, -62167219199.5}) {
        EXPECT_EQ(InternetDateTime::asWritten(seconds),
                  InternetDateTime::secondsSince1970(InternetDateTime::text(seconds)))
            << seconds;
    }
}

}  // namespace
}  // namespace tallowbeck
