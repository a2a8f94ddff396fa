#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "TallowbeckCore/power/PowerControlError.hpp"
#include "watchdog/WatchdogMain.hpp"

namespace tallowbeck {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int32_t parentPID = 4242;
// Where an orphan's parent id points once its parent is gone.
constexpr std::int32_t initPID = 1;

// What one return of the process-exit wait means.
enum class WatcherReturn { parentExited, early };

// The operating system as the watchdog sees it, scripted and recorded. Everything the watchdog
// does lands in `events`, in order.
class ScriptedHost {
public:
    std::int32_t currentParent = parentPID;
    // Consumed one per wait; when it runs out the parent exits during the wait.
    std::deque<WatcherReturn> watcherReturns;
    bool parentExitsDuringSleep = false;
    int restoreFailuresLeft = 0;

    std::vector<std::string> events;
    std::vector<double> sleeps;
    std::vector<std::weak_ptr<int>> controllerLifetimes;

    WatchdogMain::Environment environment() {
        WatchdogMain::Environment environment;
        environment.parentProcessID = [this] {
            events.push_back("getppid");
            return currentParent;
        };
        environment.sleep = [this](double seconds) {
            events.push_back("sleep");
            sleeps.push_back(seconds);
            if (parentExitsDuringSleep) {
                currentParent = initPID;
            }
        };
        environment.waitForExit = [this](std::int32_t pid) {
            events.push_back("wait " + std::to_string(pid));
            if (nextWatcherReturn() == WatcherReturn::parentExited) {
                currentParent = initPID;
            }
        };
        environment.makePowerController = [this] { return makeController(); };
        return environment;
    }

private:
    WatcherReturn nextWatcherReturn() {
        if (watcherReturns.empty()) {
            return WatcherReturn::parentExited;
        }
        const WatcherReturn next = watcherReturns.front();
        watcherReturns.pop_front();
        return next;
    }

    std::unique_ptr<PowerController> makeController() {
        events.push_back("make controller");
        // Lives exactly as long as the controller holding the setter.
        auto lifetime = std::make_shared<int>(0);
        controllerLifetimes.push_back(lifetime);
        return std::make_unique<PowerController>(
            [this, lifetime](bool disabled) {
                events.push_back(disabled ? "disable closed-lid sleep" : "enable closed-lid sleep");
                if (restoreFailuresLeft > 0) {
                    --restoreFailuresLeft;
                    throw PowerControlError::clamshellUpdateFailed(-536870160);
                }
            },
            [this](std::uint32_t) {
                events.push_back("release assertion");
                return 0;
            });
    }
};

int runWith(std::vector<const char*> arguments, ScriptedHost& host) {
    std::vector<const char*> argv{"tallowbeck-watchdog"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    return WatchdogMain::run(argc, argv.data(), host.environment());
}

// --- parsing ---------------------------------------------------------------------------------

struct ParseCase {
    const char* text;
    std::optional<std::int32_t> expected;
};

class WatchdogMainParse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(WatchdogMainParse, ReadsASignedDecimal32BitNumberAndNothingElse) {
    EXPECT_EQ(WatchdogMain::parseProcessID(GetParam().text), GetParam().expected)
        << "text: \"" << GetParam().text << '"';
}

constexpr std::int32_t int32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t int32Min = std::numeric_limits<std::int32_t>::min();

INSTANTIATE_TEST_SUITE_P(Accepted, WatchdogMainParse,
                         ::testing::Values(ParseCase{"42", 42}, ParseCase{"+123", 123},
                                           ParseCase{"0123", 123}, ParseCase{"0", 0},
                                           ParseCase{"-0", 0}, ParseCase{"-5", -5},
                                           ParseCase{"2147483647", int32Max},
                                           ParseCase{"-2147483648", int32Min},
                                           ParseCase{"000000000000000000042", 42}));

INSTANTIATE_TEST_SUITE_P(
    Rejected, WatchdogMainParse,
    ::testing::Values(ParseCase{"", std::nullopt}, ParseCase{"+", std::nullopt},
                      ParseCase{"-", std::nullopt}, ParseCase{" 42", std::nullopt},
                      ParseCase{"42 ", std::nullopt}, ParseCase{"0x2A", std::nullopt},
                      ParseCase{"2147483648", std::nullopt}, ParseCase{"-2147483649", std::nullopt},
                      ParseCase{"99999999999999999999", std::nullopt},
                      ParseCase{"+-1", std::nullopt}, ParseCase{"--1", std::nullopt},
                      ParseCase{"4-2", std::nullopt}, ParseCase{"4.2", std::nullopt},
                      ParseCase{"4e2", std::nullopt}, ParseCase{"\xd9\xa4", std::nullopt}));

TEST(WatchdogMainParse, StopsAtAnEmbeddedNulCharacter) {
    EXPECT_EQ(WatchdogMain::parseProcessID(std::string_view("42\0", 3)), std::nullopt);
}

// --- arguments that end the run at once ------------------------------------------------------

TEST(WatchdogMain, WithoutArgumentReturnsZeroAndTouchesNothing) {
    ScriptedHost host;
    EXPECT_EQ(runWith({}, host), 0);
    EXPECT_THAT(host.events, IsEmpty());
}

TEST(WatchdogMain, WithTwoArgumentsReturnsZeroAndTouchesNothing) {
    ScriptedHost host;
    EXPECT_EQ(runWith({"4242", "4242"}, host), 0);
    EXPECT_THAT(host.events, IsEmpty());
}

class WatchdogMainIgnoredArgument : public ::testing::TestWithParam<const char*> {};

TEST_P(WatchdogMainIgnoredArgument, ReturnsZeroAndTouchesNothing) {
    ScriptedHost host;
    // A parent that a misread argument could be mistaken for.
    host.currentParent = 42;

    EXPECT_EQ(runWith({GetParam()}, host), 0);

    EXPECT_THAT(host.events, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Unparsable, WatchdogMainIgnoredArgument,
                         ::testing::Values("", "+", "-", " 42", "42 ", "0x2A", "2147483648"));
INSTANTIATE_TEST_SUITE_P(BelowTwo, WatchdogMainIgnoredArgument,
                         ::testing::Values("1", "0", "-5", "-2147483648"));

// --- the wait for the parent -----------------------------------------------------------------

TEST(WatchdogMain, PIDOfAProcessOtherThanTheParentIsRestoredForAtOnce) {
    ScriptedHost host;
    host.currentParent = 777;

    EXPECT_EQ(runWith({"4242"}, host), 0);

    EXPECT_THAT(host.events, ElementsAre("getppid", "make controller", "enable closed-lid sleep"));
}

TEST(WatchdogMain, ParentExitingDuringTheWaitIsRestoredForWithoutPause) {
    ScriptedHost host;
    host.watcherReturns = {WatcherReturn::parentExited};

    EXPECT_EQ(runWith({"4242"}, host), 0);

    EXPECT_THAT(host.events, ElementsAre("getppid", "wait 4242", "getppid", "getppid",
                                         "make controller", "enable closed-lid sleep"));
    EXPECT_THAT(host.sleeps, IsEmpty());
}

TEST(WatchdogMain, WatcherReturningWhileTheParentLivesPausesTwoSecondsAndWaitsAgain) {
    ScriptedHost host;
    host.watcherReturns = {WatcherReturn::early, WatcherReturn::early, WatcherReturn::parentExited};

    EXPECT_EQ(runWith({"4242"}, host), 0);

    EXPECT_THAT(host.events, ElementsAre("getppid", "wait 4242", "getppid", "sleep",  //
                                         "getppid", "wait 4242", "getppid", "sleep",  //
                                         "getppid", "wait 4242", "getppid",           //
                                         "getppid", "make controller", "enable closed-lid sleep"));
    EXPECT_THAT(host.sleeps, ElementsAre(2.0, 2.0));
}

TEST(WatchdogMain, ParentExitingDuringThePauseEndsTheWaitWithoutWatchingAgain) {
    ScriptedHost host;
    host.watcherReturns = {WatcherReturn::early};
    host.parentExitsDuringSleep = true;

    EXPECT_EQ(runWith({"4242"}, host), 0);

    EXPECT_THAT(host.events, ElementsAre("getppid", "wait 4242", "getppid", "sleep", "getppid",
                                         "make controller", "enable closed-lid sleep"));
}

TEST(WatchdogMain, ExplicitlySignedAndZeroPaddedPIDsNameTheSameParent) {
    for (const char* argument : {"+4242", "04242"}) {
        SCOPED_TRACE(argument);
        ScriptedHost host;
        EXPECT_EQ(runWith({argument}, host), 0);
        EXPECT_THAT(host.events, ElementsAre("getppid", "wait 4242", "getppid", "getppid",
                                             "make controller", "enable closed-lid sleep"));
    }
}

// --- the restore -----------------------------------------------------------------------------

TEST(WatchdogMain, RestoreFailingThreeTimesIsRetriedEveryTwoSecondsUntilItSucceeds) {
    ScriptedHost host;
    host.currentParent = 777;
    host.restoreFailuresLeft = 3;

    EXPECT_EQ(runWith({"4242"}, host), 0);

    EXPECT_THAT(host.events, ElementsAre("getppid", "make controller",        //
                                         "enable closed-lid sleep", "sleep",  //
                                         "enable closed-lid sleep", "sleep",  //
                                         "enable closed-lid sleep", "sleep",  //
                                         "enable closed-lid sleep"));
    EXPECT_THAT(host.sleeps, ElementsAre(2.0, 2.0, 2.0));
}

TEST(WatchdogMain, RestoreFailingWithAnyErrorIsRetried) {
    ScriptedHost host;
    host.currentParent = 777;
    auto environment = host.environment();
    int attempts = 0;
    environment.makePowerController = [&attempts] {
        return std::make_unique<PowerController>(
            [&attempts](bool) {
                if (++attempts == 1) {
                    throw std::logic_error("not a power control error");
                }
            },
            [](std::uint32_t) { return 0; });
    };
    const char* argv[] = {"tallowbeck-watchdog", "4242", nullptr};

    EXPECT_EQ(WatchdogMain::run(2, argv, environment), 0);

    EXPECT_EQ(attempts, 2);
    EXPECT_THAT(host.sleeps, ElementsAre(2.0));
}

TEST(WatchdogMain, MakesOneControllerAndReleasesItBeforeReturning) {
    ScriptedHost host;
    host.restoreFailuresLeft = 2;

    EXPECT_EQ(runWith({"4242"}, host), 0);

    ASSERT_EQ(host.controllerLifetimes.size(), 1U);
    EXPECT_TRUE(host.controllerLifetimes.front().expired());
}

TEST(WatchdogMain, EnvironmentThatThrowsStillEndsWithStatusZero) {
    ScriptedHost host;
    auto environment = host.environment();
    environment.makePowerController = []() -> std::unique_ptr<PowerController> {
        throw std::bad_alloc();
    };
    const char* argv[] = {"tallowbeck-watchdog", "4242", nullptr};

    EXPECT_EQ(WatchdogMain::run(2, argv, environment), 0);
    EXPECT_THAT(host.events, ElementsAre("getppid", "wait 4242", "getppid", "getppid"));
}

}  // namespace
}  // namespace tallowbeck
