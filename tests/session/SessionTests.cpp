#include <gtest/gtest.h>
#include <simdjson.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "TallowbeckCore/session/Session.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Duration = Session::Duration;
using testing::thrown;

constexpr double now = 1714564800.0;
constexpr double minute = 60.0;

Session endingAt(double end) { return Session(now - 3600.0, Duration::until(end), false, false); }

Session openEnded() { return Session(now - 3600.0, Duration::indefinitely(), true, false); }

TEST(SessionTests, ConstructionTakesTheDurationsEnd) {
    EXPECT_EQ(endingAt(now + 600.0).endsAt(), now + 600.0);
    EXPECT_FALSE(openEnded().endsAt());
    // An end before the start is kept as given.
    EXPECT_EQ(Session(now, Duration::until(now - 10.0), false, true).endsAt(), now - 10.0);
}

TEST(SessionTests, DurationEquality) {
    EXPECT_EQ(Duration::indefinitely(), Duration::indefinitely());
    EXPECT_EQ(Duration::until(now), Duration::until(now));
    EXPECT_NE(Duration::until(now), Duration::until(now + 1.0));
    EXPECT_NE(Duration::until(now), Duration::indefinitely());
}

TEST(SessionTests, EqualityComparesAllFourFields) {
    const Session session(now, Duration::until(now + 60.0), true, false);
    EXPECT_EQ(session, Session(now, Duration::until(now + 60.0), true, false));
    EXPECT_NE(session, Session(now + 1.0, Duration::until(now + 60.0), true, false));
    EXPECT_NE(session, Session(now, Duration::indefinitely(), true, false));
    EXPECT_NE(session, Session(now, Duration::until(now + 60.0), false, false));
    EXPECT_NE(session, Session(now, Duration::until(now + 60.0), true, true));
    EXPECT_EQ(openEnded(), openEnded());
}

TEST(SessionTests, RemainingTimeAtTheEndIsZeroAndTheSessionHasExpired) {
    const Session session = endingAt(now);
    EXPECT_EQ(session.remainingTime(now), 0.0);
    EXPECT_TRUE(session.isExpired(now));
}

TEST(SessionTests, RemainingTimeIsNeverNegative) {
    const Session session = endingAt(now);
    EXPECT_EQ(session.remainingTime(now + 1.0), 0.0);
    EXPECT_EQ(session.remainingTime(now - 90.0), 90.0);
    EXPECT_FALSE(session.isExpired(now - 0.001));
    EXPECT_EQ(session.remainingTime(std::numeric_limits<double>::quiet_NaN()), 0.0);
}

TEST(SessionTests, OpenEndedSessionNeverExpires) {
    Session session = openEnded();
    EXPECT_FALSE(session.remainingTime(now));
    EXPECT_FALSE(session.isExpired(now));
    EXPECT_FALSE(session.isExpired(std::numeric_limits<double>::max()));
    session.extend(now, 3600.0);
    EXPECT_EQ(session.endsAt(), now + 3600.0);
}

TEST(SessionTests, ExtendingARunningSessionAddsToItsEnd) {
    Session session = endingAt(now + 10 * minute);
    session.extend(now, 30 * minute);
    EXPECT_EQ(session.endsAt(), now + 40 * minute);
}

TEST(SessionTests, ExtendingAnEndedSessionStartsFromNow) {
    Session session = endingAt(now - 5 * minute);
    session.extend(now, 30 * minute);
    EXPECT_EQ(session.endsAt(), now + 30 * minute);
}

TEST(SessionTests, ExtendingByANegativeAmountShortensTheSession) {
    Session session = endingAt(now + 10 * minute);
    session.extend(now, -4 * minute);
    EXPECT_EQ(session.endsAt(), now + 6 * minute);
}

TEST(SessionTests, EndCanBeRewritten) {
    Session session = endingAt(now);
    session.setEndsAt(std::nullopt);
    EXPECT_FALSE(session.endsAt());
    session.setEndsAt(now + 5.0);
    EXPECT_EQ(session.endsAt(), now + 5.0);
}

TEST(SessionTests, EncodesTimesAsSecondsSince2001) {
    // 2001-01-01T00:01:40Z and 2001-01-01T00:03:20Z.
    const Session session(978307300.0, Duration::until(978307400.0), true, false);
    EXPECT_EQ(session.json(),
              "{\"startedAt\":100,\"endsAt\":200,\"closedLidEnabled\":true,"
              "\"allowsDisplaySleep\":false}");
}

TEST(SessionTests, OpenEndedSessionEncodesExactlyThreeKeys) {
    const std::string json = openEnded().json();
    simdjson::dom::parser parser;
    simdjson::dom::object object = parser.parse(json).get_object();
    EXPECT_EQ(object.size(), 3u);
    EXPECT_EQ(json.find("endsAt"), std::string::npos);
}

TEST(SessionTests, DecodesWithoutAnEnd) {
    const Session decoded = Session::fromJSON(
        "{\"startedAt\":100.5,\"closedLidEnabled\":false,\"allowsDisplaySleep\":true}");
    EXPECT_EQ(decoded, Session(978307300.5, Duration::indefinitely(), false, true));
    EXPECT_FALSE(Session::fromJSON("{\"startedAt\":1,\"endsAt\":null,\"closedLidEnabled\":false,"
                                   "\"allowsDisplaySleep\":true}")
                     .endsAt());
}

TEST(SessionTests, RoundTripIsExact) {
    for (const Session& session :
         {Session(now + 0.123456789, Duration::until(now + 7200.5), true, true), openEnded()}) {
        EXPECT_EQ(Session::fromJSON(session.json()), session);
    }
}

// Times across every magnitude, both signs and the edges of the doubles, and times before 1985
// whose difference from 2001 as a double has lost digits.
std::vector<double> hardTimes() {
    std::vector<double> times{
        0.1, 0.0, -0.0, 1.0, -0.5, 1e-300, -1e-300, std::numeric_limits<double>::denorm_min(),
        std::numeric_limits<double>::min(), std::numeric_limits<double>::max(),
        std::numeric_limits<double>::lowest(), 1e300, -1e300, 9007199254740993.0 * 1024,
        0x1p60 + 0x1p8,
        // 1984-12-31T23:59:59.123456789Z, 1970-01-01T00:00:00.25Z.
        473385599.123456789, 0.25, 978307200.0, 978307200.000001, 1714564800.123456};
    std::mt19937_64 random(20240501);
    std::uniform_int_distribution<std::uint64_t> bits;
    while (times.size() < 2000) {
        const double time = std::bit_cast<double>(bits(random));
        if (std::isfinite(time)) {
            times.push_back(time);
        }
    }
    return times;
}

TEST(SessionTests, EveryFiniteTimeReadsBackExactly) {
    for (const double time : hardTimes()) {
        const Session session(time, Duration::until(time), false, true);
        const Session decoded = Session::fromJSON(session.json());
        EXPECT_EQ(decoded, session) << session.json();
    }
}

TEST(SessionTests, TimesBefore1985ReadBackExactly) {
    // 1970-01-01T00:00:00.1Z: as a double, 0.1 - 978307200 keeps only seven fractional digits.
    // 1970-01-01T00:00:00.000000001Z ends it.
    const Session session(0.1, Duration::until(1e-9), true, true);
    EXPECT_EQ(Session::fromJSON(session.json()), session);
    EXPECT_EQ(session.json(),
              "{\"startedAt\":-978307199.9,\"endsAt\":-978307199.999999999,"
              "\"closedLidEnabled\":true,\"allowsDisplaySleep\":true}");
}

TEST(SessionTests, ATimeWrittenBySomeoneElseIsRoundedOnlyOnce) {
    // Read as a double first, -978307199.9000000000000001 would lose all but seven fractional
    // digits and give 0.100000023841858.
    const Session decoded = Session::fromJSON(
        "{\"startedAt\":-978307199.9000000000000001,\"closedLidEnabled\":false,"
        "\"allowsDisplaySleep\":false}");
    EXPECT_EQ(decoded.startedAt(), 0.0999999999999999);
}

TEST(SessionTests, NonFiniteTimesAreRefusedWhereTheSessionIsMade) {
    for (const double time :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        EXPECT_THROW(Session(time, Duration::indefinitely(), false, false), std::invalid_argument);
        EXPECT_THROW(Session(now, Duration::until(time), false, false), std::invalid_argument);
        Session session = endingAt(now);
        EXPECT_THROW(session.setEndsAt(time), std::invalid_argument);
        EXPECT_EQ(session.endsAt(), now);
        EXPECT_THROW(session.extend(now, time), std::invalid_argument);
        EXPECT_EQ(session.endsAt(), now);
    }
}

TEST(SessionTests, AnExtensionPastTheLargestTimeIsRefusedAndChangesNothing) {
    Session session = endingAt(std::numeric_limits<double>::max());
    EXPECT_THROW(session.extend(now, std::numeric_limits<double>::max()), std::invalid_argument);
    EXPECT_EQ(session.endsAt(), std::numeric_limits<double>::max());
    Session openEnded = Session(now, Duration::indefinitely(), false, false);
    EXPECT_THROW(openEnded.extend(std::numeric_limits<double>::quiet_NaN(), 60.0),
                 std::invalid_argument);
    EXPECT_FALSE(openEnded.endsAt());
}

TEST(SessionTests, TheJSONNeverHoldsANull) {
    for (const double time : {std::numeric_limits<double>::max(), 1e-300, 0.0}) {
        const std::string json = Session(time, Duration::until(time), true, false).json();
        EXPECT_EQ(json.find("null"), std::string::npos) << json;
    }
}

TEST(SessionTests, MissingAllowsDisplaySleepFails) {
    const auto error = thrown<DecodingError>(
        [] { Session::fromJSON("{\"startedAt\":1,\"endsAt\":2,\"closedLidEnabled\":false}"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DecodingError::Kind::keyNotFound);
    EXPECT_EQ(error->key(), "allowsDisplaySleep");
}

TEST(SessionTests, DecodingFailuresNameTheKey) {
    struct Case {
        std::string_view text;
        DecodingError::Kind kind;
        std::string_view key;
    };
    using Kind = DecodingError::Kind;
    for (const Case& bad : {
             Case{"{\"closedLidEnabled\":false,\"allowsDisplaySleep\":true}", Kind::keyNotFound,
                  "startedAt"},
             Case{"{\"startedAt\":\"1\",\"closedLidEnabled\":false,\"allowsDisplaySleep\":true}",
                  Kind::typeMismatch, "startedAt"},
             Case{"{\"startedAt\":1,\"endsAt\":\"2\",\"closedLidEnabled\":false,"
                  "\"allowsDisplaySleep\":true}",
                  Kind::typeMismatch, "endsAt"},
             Case{"{\"startedAt\":1,\"closedLidEnabled\":0,\"allowsDisplaySleep\":true}",
                  Kind::typeMismatch, "closedLidEnabled"},
             Case{"{\"startedAt\":1,\"ClosedLidEnabled\":false,\"allowsDisplaySleep\":true}",
                  Kind::keyNotFound, "closedLidEnabled"},
             Case{"{\"startedAt\":1,", Kind::dataCorrupted, ""},
             Case{"[1]", Kind::typeMismatch, ""},
         }) {
        const auto error = thrown<DecodingError>([&] { Session::fromJSON(bad.text); });
        ASSERT_TRUE(error) << bad.text;
        EXPECT_EQ(error->kind(), bad.kind) << bad.text;
        EXPECT_EQ(error->key(), bad.key) << bad.text;
    }
}

TEST(SessionTests, UnknownKeysAreIgnored) {
    EXPECT_EQ(Session::fromJSON("{\"startedAt\":0,\"closedLidEnabled\":true,"
                                "\"allowsDisplaySleep\":false,\"label\":\"x\"}"),
              Session(978307200.0, Duration::indefinitely(), true, false));
}

}  // namespace
}  // namespace tallowbeck
