// The keep-awake session host in virtual time, against fakes of the platform.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/platform/IOReturn.hpp"
#include "cli/AwakeHost.hpp"
#include "tests/fakes/FakePowerManagement.hpp"
#include "tests/fakes/ScriptedTemperatureReading.hpp"
#include "tests/fakes/VirtualSessionTime.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using cli::AwakeEnding;
using cli::AwakeHost;
using cli::AwakeUpdate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Conditions = testing::ScriptedTemperatureReading::Conditions;

const std::string createSystem = "create PreventUserIdleSystemSleep 255 Quillmoss active session";
const std::string createDisplay =
    "create PreventUserIdleDisplaySleep 255 Quillmoss active session display";

// Everything a session tells, in order.
class RecordingOutput final : public cli::AwakeOutput {
public:
    std::vector<Session> starts;
    std::vector<std::string> displayNotKeptOnReasons;
    std::vector<AwakeUpdate> updates;
    std::vector<AwakeEnding> endings;
    std::vector<std::string> problems;

    void started(const Session& session, std::string_view displayNotKeptOn) override {
        starts.push_back(session);
        displayNotKeptOnReasons.emplace_back(displayNotKeptOn);
    }
    void updated(const AwakeUpdate& update) override { updates.push_back(update); }
    void ended(const AwakeEnding& ending) override { endings.push_back(ending); }
    void problem(std::string_view message) override { problems.emplace_back(message); }

    std::vector<std::optional<double>> remainingTimes() const {
        std::vector<std::optional<double>> times;
        for (const AwakeUpdate& update : updates) {
            times.push_back(update.remainingTime);
        }
        return times;
    }

    std::vector<std::optional<double>> graceTimes() const {
        std::vector<std::optional<double>> times;
        for (const AwakeUpdate& update : updates) {
            times.push_back(update.graceRemaining);
        }
        return times;
    }
};

class AwakeHostTests : public ::testing::Test {
protected:
    int run() {
        AwakeHost host(settings, {.clock = time,
                                  .events = time,
                                  .power = power,
                                  .sensor = sensor,
                                  .output = output,
                                  .startWatchdog = [this] { startWatchdog(); },
                                  .history = history ? &*history : nullptr});
        return host.run();
    }

    void startWatchdog() {
        power.note("start watchdog");
        if (watchdogFailure) {
            throw std::system_error(*watchdogFailure, std::generic_category(), "spawn");
        }
    }

    // Update times, as seconds after the start.
    std::vector<double> updateTimes() const {
        std::vector<double> times;
        for (const AwakeUpdate& update : output.updates) {
            times.push_back(update.sample.recordedAt() -
                            testing::VirtualSessionTime::startWallTime);
        }
        return times;
    }

    AwakeHost::Settings settings;
    testing::VirtualSessionTime time;
    testing::FakePowerManagement power;
    testing::ScriptedTemperatureReading sensor{time};
    RecordingOutput output;
    std::optional<int> watchdogFailure;
    std::optional<TemperatureHistoryStore> history;
};

TEST_F(AwakeHostTests, ATimedSessionUpdatesEveryFiveSecondsAndEndsExactlyAtItsEnd) {
    settings.lengthSeconds = 12.0;

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(time.elapsed(), 12.0);
    EXPECT_THAT(updateTimes(), ElementsAre(0.0, 5.0, 10.0));
    EXPECT_THAT(output.remainingTimes(), ElementsAre(12.0, 7.0, 2.0));
    ASSERT_EQ(output.starts.size(), 1u);
    EXPECT_EQ(output.starts[0].startedAt(), testing::VirtualSessionTime::startWallTime);
    EXPECT_EQ(output.starts[0].endsAt(), testing::VirtualSessionTime::startWallTime + 12.0);
    EXPECT_THAT(output.displayNotKeptOnReasons, ElementsAre(""));
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::expired()));
    EXPECT_THAT(power.calls, ElementsAre(createSystem, createDisplay, "release 1", "release 2"));
    EXPECT_TRUE(time.begun);
}

TEST_F(AwakeHostTests, TheStartTellsWhyNoDisplayIsKeptOnWhereThePlatformFoundNone) {
    settings.lengthSeconds = 1.0;
    power.displayNotKeptOn = "neither WAYLAND_DISPLAY nor DISPLAY is set";

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(output.displayNotKeptOnReasons,
                ElementsAre("neither WAYLAND_DISPLAY nor DISPLAY is set"));
}

TEST_F(AwakeHostTests, EveryUpdateTakesASampleMarkedAsTakenDuringASession) {
    settings.lengthSeconds = 6.0;
    run();
    ASSERT_EQ(output.updates.size(), 2u);
    for (const AwakeUpdate& update : output.updates) {
        EXPECT_TRUE(update.sample.sessionActive());
    }
}

TEST_F(AwakeHostTests, AnEndTimeIsKeptAsGiven) {
    settings.endsAt = testing::VirtualSessionTime::startWallTime + 3.5;
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(time.elapsed(), 3.5);
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::expired()));
}

TEST_F(AwakeHostTests, ClosedLidModeStartsTheWatchdogAndSendsTheSettingOnEveryUpdate) {
    settings.lengthSeconds = 7.0;
    settings.closedLidEnabled = true;
    settings.allowsDisplaySleep = true;

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(power.calls,
                ElementsAre("start watchdog", createSystem, "clamshell true", "clamshell true",
                            "clamshell true", "clamshell false", "release 1"));
}

TEST_F(AwakeHostTests, AFailedReapplicationIsReportedAndTheSessionGoesOn) {
    settings.lengthSeconds = 7.0;
    settings.closedLidEnabled = true;
    power.rootDomainCalls = {
        {}, {.outcome = PowerManagement::RootDomainCall::Outcome::callFailed, .status = -13}};

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(output.problems, ElementsAre("macOS rejected the closed-lid setting (-13)."));
    EXPECT_EQ(output.updates.size(), 2u);
}

TEST_F(AwakeHostTests, AFailedActivationEndsWithStatusOneAndItsMessageBeforeTheSessionStarts) {
    settings.closedLidEnabled = true;
    power.creationStatuses = {IOReturn::unsupported};

    EXPECT_EQ(run(), 1);

    EXPECT_THAT(output.problems,
                ElementsAre("macOS rejected the keep-awake assertion (-536870201)."));
    EXPECT_THAT(output.starts, IsEmpty());
    EXPECT_THAT(output.endings, IsEmpty());
    EXPECT_FALSE(time.begun);
    EXPECT_THAT(power.calls, ElementsAre("start watchdog", createSystem));
}

TEST_F(AwakeHostTests, ThePlatformsOwnAccountOfAFailureStandsInsteadOfTheLibrarysSentence) {
    power.creationStatuses = {-13};
    power.detail = "cannot take the idle lock from logind: AccessDenied";

    EXPECT_EQ(run(), 1);

    EXPECT_THAT(output.problems,
                ElementsAre("cannot take the idle lock from logind: AccessDenied"));
}

TEST_F(AwakeHostTests, AWatchdogThatCannotStartEndsTheSessionBeforeAnythingIsHeld) {
    settings.closedLidEnabled = true;
    watchdogFailure = ENOENT;

    EXPECT_EQ(run(), 1);

    ASSERT_EQ(output.problems.size(), 1u);
    EXPECT_THAT(output.problems[0], ::testing::StartsWith("cannot start tallowbeck-watchdog: "));
    EXPECT_FALSE(time.begun);
    EXPECT_THAT(power.calls, ElementsAre("start watchdog"));
}

TEST_F(AwakeHostTests, ACommandThatCannotBeFoundEndsWith127AndEverythingReleased) {
    time.commandFailure.emplace(ENOENT, std::generic_category(), "cannot run nothing-here");

    EXPECT_EQ(run(), 127);

    EXPECT_THAT(output.problems, ElementsAre(::testing::StartsWith("cannot run nothing-here")));
    EXPECT_THAT(output.starts, IsEmpty());
    EXPECT_THAT(power.calls, ElementsAre(createSystem, createDisplay, "release 1", "release 2"));
}

TEST_F(AwakeHostTests, ACommandThatCannotBeRunEndsWith126) {
    time.commandFailure.emplace(EACCES, std::generic_category(), "cannot run ./notes.txt");
    EXPECT_EQ(run(), 126);
}

TEST_F(AwakeHostTests, AStopSignalEndsTheSessionNormally) {
    time.at(7.0, AwakeEnding::stopSignal(SIGTERM));

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(time.elapsed(), 7.0);
    EXPECT_THAT(updateTimes(), ElementsAre(0.0, 5.0));
    EXPECT_THAT(output.remainingTimes(), ElementsAre(std::nullopt, std::nullopt));
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::stopSignal(SIGTERM)));
    EXPECT_THAT(power.calls, ElementsAre(createSystem, createDisplay, "release 1", "release 2"));
}

TEST_F(AwakeHostTests, TheCommandsExitStatusIsTheSessions) {
    settings.lengthSeconds = 60.0;
    time.at(3.0, AwakeEnding::commandExited(5));

    EXPECT_EQ(run(), 5);

    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::commandExited(5)));
    ASSERT_FALSE(power.calls.empty());
    EXPECT_EQ(power.calls.back(), "release 2");
}

TEST_F(AwakeHostTests, TheWatchedProcessEndingEndsTheSessionNormally) {
    time.at(12.5, AwakeEnding::processExited(4242));
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::processExited(4242)));
}

TEST_F(AwakeHostTests, PressureWithoutABatteryReadingEndsTheSessionAtOnceWithStatusThree) {
    settings.lengthSeconds = 60.0;
    sensor.from(0.0, {.thermalState = SystemThermalState::serious, .batteryCelsius = std::nullopt});

    EXPECT_EQ(run(), 3);

    EXPECT_EQ(time.elapsed(), 0.0);
    EXPECT_EQ(output.updates.size(), 1u);
    EXPECT_THAT(output.endings,
                ElementsAre(AwakeEnding::thermalPressure(SystemThermalState::serious)));
    EXPECT_THAT(power.calls, ElementsAre(createSystem, createDisplay, "release 1", "release 2"));
}

TEST_F(AwakeHostTests, PressureWithACoolBatteryIsToleratedForThirtySeconds) {
    sensor.from(10.0, {.thermalState = SystemThermalState::critical, .batteryCelsius = 34.0});

    EXPECT_EQ(run(), 3);

    EXPECT_EQ(time.elapsed(), 40.0);
    EXPECT_THAT(output.graceTimes(), ElementsAre(std::nullopt, std::nullopt, 30.0, 25.0, 20.0, 15.0,
                                                 10.0, 5.0, std::nullopt));
    EXPECT_THAT(output.endings,
                ElementsAre(AwakeEnding::thermalPressure(SystemThermalState::critical)));
}

TEST_F(AwakeHostTests, OneUpdateWithoutPressureStartsTheGracePeriodAnew) {
    time.at(70.0, AwakeEnding::stopSignal(SIGINT));
    const Conditions pressure{.thermalState = SystemThermalState::serious, .batteryCelsius = 30.0};
    sensor.from(0.0, pressure);
    sensor.from(25.0, {.thermalState = SystemThermalState::fair, .batteryCelsius = 30.0});
    sensor.from(30.0, pressure);

    EXPECT_EQ(run(), 3);

    EXPECT_EQ(time.elapsed(), 60.0);
}

TEST_F(AwakeHostTests, SamplesAreRecordedAtTheirOwnInterval) {
    const testing::TemporaryDirectory directory;
    history.emplace(directory.path() / "history.json");
    settings.lengthSeconds = 20.0;
    settings.recordingInterval = 7.0;

    EXPECT_EQ(run(), 0);

    const auto samples = history->samples();
    ASSERT_EQ(samples.size(), 3u);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        EXPECT_EQ(samples[index].recordedAt(),
                  testing::VirtualSessionTime::startWallTime + 7.0 * static_cast<double>(index));
        EXPECT_TRUE(samples[index].sessionActive());
    }
    EXPECT_THAT(updateTimes(), ElementsAre(0.0, 5.0, 10.0, 15.0));
}

TEST_F(AwakeHostTests, AnUpdateAndARecordingThatFallTogetherShareOneReading) {
    const testing::TemporaryDirectory directory;
    history.emplace(directory.path() / "history.json");
    settings.lengthSeconds = 12.0;
    settings.recordingInterval = 10.0;

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(sensor.samplesTaken, 3);
    const auto samples = history->samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[1].id(), output.updates[2].sample.id());
}

TEST_F(AwakeHostTests, RecordingKeepsTheHistorysOwnRetention) {
    const testing::TemporaryDirectory directory;
    history.emplace(directory.path() / "history.json");
    constexpr double day = 86400.0;
    const double tenDaysBefore = testing::VirtualSessionTime::startWallTime - 10 * day;
    history->append(testing::sampleAt(tenDaysBefore), 30, tenDaysBefore);
    settings.lengthSeconds = 1.0;
    settings.recordingInterval = 5.0;
    settings.retentionDays = 30;

    EXPECT_EQ(run(), 0);

    const auto samples = history->samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[0].recordedAt(), tenDaysBefore);
}

TEST_F(AwakeHostTests, AHistoryThatCannotBeWrittenIsReportedAndTheSessionGoesOn) {
    const testing::TemporaryDirectory directory;
    directory.write("taken/history.json.lock/file", "a folder where the lock file belongs");
    history.emplace(directory.path() / "taken/history.json");
    settings.lengthSeconds = 10.0;
    settings.recordingInterval = 5.0;

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(output.problems.size(), 2u);
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::expired()));
}

TEST_F(AwakeHostTests, AFailingDeactivationIsRetriedTwoSecondsApart) {
    time.at(1.0, AwakeEnding::stopSignal(SIGINT));
    power.releaseStatuses = {-1, IOReturn::success, -1, IOReturn::success};

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(time.elapsed(), 5.0);
    EXPECT_THAT(output.problems, IsEmpty());
    EXPECT_THAT(power.calls, ElementsAre(createSystem, createDisplay, "release 1", "release 2",
                                         "release 1", "release 1"));
}

TEST_F(AwakeHostTests, AnEventDuringTheRetryDoesNotShortenTheWait) {
    time.at(1.0, AwakeEnding::stopSignal(SIGINT));
    time.at(2.0, AwakeEnding::stopSignal(SIGTERM));
    power.releaseStatuses = {-1, IOReturn::success, IOReturn::success};

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(time.elapsed(), 3.0);
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::stopSignal(SIGINT)));
}

TEST_F(AwakeHostTests, ADeactivationThatKeepsFailingIsReportedAfterThreeAttempts) {
    time.at(1.0, AwakeEnding::stopSignal(SIGINT));
    power.releaseStatuses = {-1, IOReturn::success, -1, -1};

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(output.problems,
                ElementsAre("macOS could not release the keep-awake assertion (-1)."));
    EXPECT_THAT(output.endings, ElementsAre(AwakeEnding::stopSignal(SIGINT)));
}

}  // namespace
}  // namespace tallowbeck
