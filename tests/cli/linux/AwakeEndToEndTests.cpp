// The real tallowbeck awake, with logind and the screen saver mocked on private buses, and the
// machine's kernel files in a mount namespace of its own: a fake machine's tree stands at
// /sys/class there, as the sensor tests' fake roots do.

#include <fcntl.h>
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/DyingWithThisProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/PrivateBuses.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/Subreaper.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::linesOf;

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::AllOf;
using testing::ChildExit;
using testing::ChildProcess;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::LogindInhibitor;
using testing::PortalInhibition;
using testing::PrivateBuses;
using testing::ScreenSaverInhibition;
using ::testing::UnorderedElementsAre;

constexpr const char* cliPath = TALLOWBECK_CLI_PATH;
constexpr const char* watchdogPath = TALLOWBECK_WATCHDOG_PATH;
// Bounds every wait for a session, well beyond what a loaded machine needs.
constexpr auto patience = 10s;
// An event's name and its time in UTC, as every --json event begins.
constexpr const char* eventStart =
    R"(\{"event":"[a-z]+","at":"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z",.*)";

const LogindInhibitor idleLock{"idle", "Quillmoss", "Quillmoss active session", "block"};
const LogindInhibitor lidLock{"handle-lid-switch", "Quillmoss",
                              "Quillmoss keeps running with the lid closed", "block"};
const ScreenSaverInhibition displayInhibition{"Quillmoss", "Quillmoss active session display"};

// The kernel files of a notebook below a fake root: a thermal zone at `zoneMillidegrees` whose
// throttling ("passive") trip lies at 90 °C, and a battery at `batteryTenths` where given.
class Machine {
public:
    Machine(std::string_view zoneMillidegrees, std::optional<std::string_view> batteryTenths) {
        root_.write("sys/class/thermal/thermal_zone0/temp", std::string(zoneMillidegrees) + "\n");
        root_.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "passive\n");
        root_.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "90000\n");
        if (batteryTenths) {
            root_.write("sys/class/power_supply/BAT0/type", "Battery\n");
            root_.write("sys/class/power_supply/BAT0/temp", std::string(*batteryTenths) + "\n");
        }
        fs::create_directories(root_.path() / "sys/class/hwmon");
    }

    static Machine cool() { return Machine("45000", "300"); }

    // Runs in the child: its /sys/class becomes this machine's.
    void enter() const {
        const fs::path fake = root_.path() / "sys/class";
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount(fake.c_str(), "/sys/class", nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            throw std::system_error(errno, std::generic_category(), "mount namespace");
        }
    }

private:
    testing::TemporaryDirectory root_;
};

// One run of `tallowbeck awake` with `arguments` on `machine`, and `input` as its standard input
// (-1: this process's).
class AwakeRun {
public:
    AwakeRun(const Machine& machine, std::vector<std::string> arguments, int input = -1)
        : startedAt_(std::chrono::steady_clock::now()),
          process_(ChildProcess::start(
              cliPath, withCommand(std::move(arguments)),
              {.input = input, .output = output_.descriptor(), .error = errors_.descriptor()},
              [&machine, dying = testing::dyingWithThisProcess()] {
                  dying();
                  machine.enter();
              })) {}

    ChildProcess& process() { return process_; }
    std::vector<std::string> output() const { return linesOf(output_.text()); }
    std::vector<std::string> errors() const { return linesOf(errors_.text()); }

    bool startsWithin(std::chrono::milliseconds timeout) const {
        return testing::becomesTrueWithin(timeout, [this] { return !output().empty(); });
    }

    std::optional<int> exitWithin(std::chrono::milliseconds timeout) {
        const std::optional<ChildExit> exit = process_.exitWithin(timeout);
        lasted_ = std::chrono::steady_clock::now() - startedAt_;
        return exit ? std::optional(exit->shellStatus()) : std::nullopt;
    }

    std::chrono::duration<double> lasted() const { return lasted_; }

private:
    static std::vector<std::string> withCommand(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "awake");
        return arguments;
    }

    testing::CapturedOutput output_;
    testing::CapturedOutput errors_;
    std::chrono::steady_clock::time_point startedAt_;
    std::chrono::duration<double> lasted_{};
    ChildProcess process_;
};

bool holdsNothing(const PrivateBuses& buses) {
    return buses.logindInhibitors().empty() && buses.screenSaverInhibitions().empty();
}

// The watchdog that `parent` started, found among its children.
std::optional<pid_t> watchdogOf(pid_t parent) {
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        std::getline(stat, line);
        const auto afterName = line.rfind(") ");
        std::istringstream fields(afterName == std::string::npos ? "" : line.substr(afterName + 2));
        char state = 0;
        pid_t parentID = 0;
        std::error_code error;
        if (fields >> state >> parentID && parentID == parent &&
            fs::equivalent(fs::read_symlink(entry.path() / "exe", error), watchdogPath, error)) {
            return std::stoi(entry.path().filename().string());
        }
    }
    return std::nullopt;
}

TEST(AwakeEndToEndTests, ATimedSessionEndsAtItsEndAndReleasesEverything) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--for", "2s", "--json"});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(idleLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), ElementsAre(displayInhibition));
    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    EXPECT_GE(run.lasted().count(), 2.0);
    EXPECT_LT(run.lasted().count(), 2.0 + 4.0);
    const std::vector<std::string> lines = run.output();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_THAT(lines, ::testing::Each(::testing::MatchesRegex(eventStart)));
    EXPECT_THAT(lines.front(), ::testing::StartsWith(R"({"event":"started","at":")"));
    EXPECT_THAT(lines.front(), HasSubstr(R"(Z","session":{)"));
    EXPECT_THAT(lines[1], AllOf(HasSubstr(R"("event":"sample")"),
                                HasSubstr(R"("batteryCelsius":30,"thermalState":"nominal")")));
    EXPECT_THAT(lines.back(),
                AllOf(::testing::StartsWith(R"({"event":"ended","at":")"),
                      ::testing::EndsWith(R"(Z","reason":"expired","exitStatus":0})")));
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, KilledInClosedLidModeItLeavesNoLockAndItsWatchdogEnds) {
    const testing::Subreaper subreaper;
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--closed-lid"});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());
    EXPECT_THAT(buses.logindInhibitors(), UnorderedElementsAre(idleLock, lidLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), ElementsAre(displayInhibition));
    std::optional<pid_t> watchdog;
    ASSERT_TRUE(testing::becomesTrueWithin(patience, [&] {
        watchdog = watchdogOf(run.process().pid());
        return watchdog.has_value();
    }));

    run.process().signal(SIGKILL);

    EXPECT_EQ(run.exitWithin(patience), 128 + SIGKILL);
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
    // This process, its subreaper, took it over when its parent went.
    ChildProcess orphan = ChildProcess::adopt(*watchdog);
    const std::optional<ChildExit> exit = orphan.exitWithin(patience);
    ASSERT_TRUE(exit.has_value()) << "the watchdog outlived its parent";
    EXPECT_EQ(exit->exitStatus(), 0) << exit->waitStatus;
}

TEST(AwakeEndToEndTests, SeriousPressureWithoutABatteryReadingEndsTheSessionAtOnceWithStatus3) {
    const PrivateBuses buses;
    const Machine machine("95000", std::nullopt);
    AwakeRun run(machine, {"--for", "60s", "--json"});

    ASSERT_EQ(run.exitWithin(patience), 3) << ::testing::PrintToString(run.errors());

    EXPECT_LT(run.lasted().count(), 5.0);
    const std::vector<std::string> lines = run.output();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines.back(),
                AllOf(::testing::MatchesRegex(eventStart),
                      ::testing::EndsWith(R"(Z","reason":"thermalPressure","exitStatus":3,)"
                                          R"("thermalState":"serious"})")));
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, TheCommandRunsAwakeAndItsExitStatusIsPassedOn) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--allow-display-sleep", "--", "/bin/sh", "-c", "echo running; exit 7"});

    ASSERT_EQ(run.exitWithin(patience), 7) << ::testing::PrintToString(run.errors());

    const std::vector<std::string> lines = run.output();
    EXPECT_THAT(lines, ::testing::Contains("running"));
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Session ended: the command exited with status 7.");
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, TheCommandGetsEveryWordAfterTheSeparatorByteForByte) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    const testing::TemporaryDirectory directory;
    const fs::path written = directory.path() / "arguments";
    const std::vector<std::string> words{"[x]", "[a,b]", "[]",         "{}",       "--",
                                         "-h",  "",      "two\nlines", "\xff\xfe", "--for"};
    // The shell writes each of its arguments followed by a NUL to the file named by its $0.
    std::vector<std::string> arguments{
        "--allow-display-sleep", "--", "/bin/sh", "-c", R"(printf '%s\0' "$@" >"$0")",
        written.string()};
    arguments.insert(arguments.end(), words.begin(), words.end());
    AwakeRun run(machine, arguments);

    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    std::string expected;
    for (const std::string& word : words) {
        expected += word + '\0';
    }
    EXPECT_EQ(testing::contentsOf(written), expected);
}

TEST(AwakeEndToEndTests, OnlyTheFirstSeparatorEndsTheOptions) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--", "/bin/sh", "-c", "exit 5", "--", "--pid", "4242"});

    EXPECT_EQ(run.exitWithin(patience), 5) << ::testing::PrintToString(run.errors());
}

TEST(AwakeEndToEndTests, ACommandThatDoesNotExistEndsWith127) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--", "/nonexistent/program"});

    ASSERT_EQ(run.exitWithin(patience), 127);

    EXPECT_THAT(run.errors(), ElementsAre(HasSubstr("cannot run /nonexistent/program")));
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, SIGTERMEndsTheSessionNormally) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    run.process().signal(SIGTERM);

    ASSERT_EQ(run.exitWithin(patience), 0);
    const std::vector<std::string> lines = run.output();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Keeping this machine awake until stopped.");
    EXPECT_EQ(lines.back(), "Session ended: stopped by SIGTERM.");
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, TheSessionEndsWhenTheWatchedProcessExits) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    const ChildProcess sleeper = ChildProcess::start("/bin/sleep", {"1"});
    const std::string pid = std::to_string(sleeper.pid());
    AwakeRun run(machine, {"--pid", pid, "--allow-display-sleep"});

    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    const std::vector<std::string> lines = run.output();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Session ended: process " + pid + " exited.");
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, AProcessIDIsDecimalWhateverItsLeadingZeros) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    const ChildProcess sleeper = ChildProcess::start("/bin/sleep", {"1"});
    const std::string pid = std::to_string(sleeper.pid());
    AwakeRun run(machine, {"--pid", "00" + pid, "--allow-display-sleep"});

    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    ASSERT_FALSE(run.output().empty());
    EXPECT_EQ(run.output().back(), "Session ended: process " + pid + " exited.");
}

TEST(AwakeEndToEndTests, AHexadecimalProcessIDIsRefused) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    const ChildProcess sleeper = ChildProcess::start("/bin/sleep", {"1"});
    const std::string hex = fmt::format("{:#x}", sleeper.pid());
    AwakeRun run(machine, {"--pid", hex});

    ASSERT_EQ(run.exitWithin(patience), 2);

    EXPECT_THAT(run.errors(), ElementsAre("tallowbeck: --pid: " + hex +
                                          " is not a whole number in decimal digits from 2 to "
                                          "2147483647"));
    EXPECT_TRUE(run.output().empty());
}

TEST(AwakeEndToEndTests, RetentionIsDecimalWhateverItsLeadingZeros) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    const testing::TemporaryDirectory directory;
    const fs::path file = directory.path() / "history.json";
    const TemperatureSample nineDaysOld =
        testing::sampleAt(std::floor(WallClock::now() - 9 * 24 * 60 * 60));
    directory.write("history.json", HistoryFileFormat::encodeSnapshot(std::vector{nineDaysOld}));
    // Ten days, not the eight that "010" would be as an octal number.
    AwakeRun run(machine, {"--for", "2s", "--record-every", "1", "--file", file.string(),
                           "--retention", "010"});

    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    const HistorySamples samples = TemperatureHistoryStore(file).samples();
    ASSERT_GE(samples.size(), 2u);
    EXPECT_EQ(samples[0], nineDaysOld);
}

const PrivateBuses::Services portalOnly{.logind = true, .screenSaver = false, .portal = true};
const PortalInhibition portalHeld{8, "Quillmoss active session display", "held"};

TEST(AwakeEndToEndTests, TheDesktopPortalKeepsTheDisplayOnAndItsRequestIsClosedAtTheEnd) {
    const PrivateBuses buses(portalOnly);
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--for", "2s"});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.portalInhibitions(), ElementsAre(portalHeld));
    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.portalInhibitions(),
                ElementsAre(PortalInhibition{8, "Quillmoss active session display", "closed"}));
    ASSERT_FALSE(run.output().empty());
    EXPECT_EQ(run.output().front(), "Keeping this machine awake for 2s.");
}

TEST(AwakeEndToEndTests, KilledItsPortalInhibitionEndsWhenTheBusDropsItsName) {
    const PrivateBuses buses(portalOnly);
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());
    EXPECT_THAT(buses.portalInhibitions(), ElementsAre(portalHeld));

    run.process().signal(SIGKILL);

    EXPECT_EQ(run.exitWithin(patience), 128 + SIGKILL);
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] {
        return buses.portalInhibitions() ==
               std::vector<PortalInhibition>{{8, "Quillmoss active session display", "callerLeft"}};
    }));
    EXPECT_TRUE(
        testing::becomesTrueWithin(patience, [&] { return buses.logindInhibitors().empty(); }));
}

TEST(AwakeEndToEndTests, WithADisplayButNeitherServiceItEndsWithStatus1NamingBoth) {
    const PrivateBuses buses({.logind = true, .screenSaver = false});
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--for", "2s"});

    ASSERT_EQ(run.exitWithin(patience), 1);

    EXPECT_THAT(
        run.errors(),
        ElementsAre(AllOf(::testing::StartsWith("tallowbeck: cannot take the display lock"),
                          HasSubstr("org.freedesktop.portal.Desktop"),
                          HasSubstr("org.freedesktop.ScreenSaver"),
                          HasSubstr("--allow-display-sleep"), ::testing::Not(HasSubstr("macOS")))));
    EXPECT_TRUE(run.output().empty());
    EXPECT_TRUE(
        testing::becomesTrueWithin(patience, [&] { return buses.logindInhibitors().empty(); }));
}

constexpr const char* systemOnlyNote =
    "Only the system is kept awake, not the display: there is no graphical session (neither "
    "WAYLAND_DISPLAY nor DISPLAY is set).";

TEST(AwakeEndToEndTests, WithoutASessionBusATimedSessionKeepsTheSystemAwakeAndSaysSoOnce) {
    const PrivateBuses buses({.sessionBus = false});
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--for", "2s", "--json"});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(idleLock));
    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    const std::vector<std::string> lines = run.output();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines.front(),
                HasSubstr(R"("displayNotKeptOn":"neither WAYLAND_DISPLAY nor DISPLAY is set"})"));
    EXPECT_THAT(std::vector(lines.begin() + 1, lines.end()),
                ::testing::Each(::testing::Not(HasSubstr("displayNotKeptOn"))));
    EXPECT_TRUE(run.errors().empty());
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, WithoutASessionBusClosedLidModeHoldsTheIdleAndLidSwitchLocks) {
    const PrivateBuses buses({.sessionBus = false});
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--closed-lid"});
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.logindInhibitors(), UnorderedElementsAre(idleLock, lidLock));
    run.process().signal(SIGTERM);

    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());
    ASSERT_FALSE(run.output().empty());
    EXPECT_EQ(run.output().front(),
              std::string("Keeping this machine awake until stopped. Closed-lid mode is on. ") +
                  systemOnlyNote);
    EXPECT_TRUE(run.errors().empty());
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

// Runs `awake` with `arguments` and no session bus to the end it comes to by itself: it holds
// "idle" alone, says once that the display is not kept on, ends with `lastLine` and leaves
// nothing held.
void expectSystemOnlySession(const std::vector<std::string>& arguments,
                             const std::string& lastLine) {
    const PrivateBuses buses({.sessionBus = false});
    const Machine machine = Machine::cool();
    AwakeRun run(machine, arguments);
    ASSERT_TRUE(run.startsWithin(patience)) << ::testing::PrintToString(run.errors());

    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(idleLock));
    ASSERT_EQ(run.exitWithin(patience), 0) << ::testing::PrintToString(run.errors());

    ASSERT_FALSE(run.output().empty());
    EXPECT_EQ(run.output().front(),
              std::string("Keeping this machine awake until stopped. ") + systemOnlyNote);
    EXPECT_EQ(run.output().back(), lastLine);
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, WithoutASessionBusTheCommandRunsWithTheSystemKeptAwake) {
    expectSystemOnlySession({"--", "/bin/sleep", "2"},
                            "Session ended: the command exited with status 0.");
}

TEST(AwakeEndToEndTests, WithoutASessionBusTheSystemIsKeptAwakeUntilTheProcessExits) {
    const ChildProcess sleeper = ChildProcess::start("/bin/sleep", {"2"});
    const std::string pid = std::to_string(sleeper.pid());
    expectSystemOnlySession({"--pid", pid}, "Session ended: process " + pid + " exited.");
}

TEST(AwakeEndToEndTests, ALidSwitchLockThatPolkitRefusesEndsWithOneLineSayingSoAndNothingHeld) {
    const PrivateBuses buses;
    buses.refuseLogindLocks({"handle-lid-switch"});
    const Machine machine = Machine::cool();
    AwakeRun run(machine, {"--closed-lid", "--for", "5s"});

    ASSERT_EQ(run.exitWithin(patience), 1);

    EXPECT_THAT(run.errors(),
                ElementsAre(AllOf(::testing::StartsWith("tallowbeck: cannot take the closed-lid "
                                                        "lock (handle-lid-switch) from logind"),
                                  HasSubstr("org.freedesktop.DBus.Error.AccessDenied"),
                                  HasSubstr("polkit"), ::testing::Not(HasSubstr("macOS")))));
    EXPECT_TRUE(run.output().empty());
    EXPECT_TRUE(testing::becomesTrueWithin(patience, [&] { return holdsNothing(buses); }));
}

TEST(AwakeEndToEndTests, ListShowsTheLocksThatEveryProcessHolds) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    AwakeRun first(machine, {"--for", "30s"});
    AwakeRun second(machine, {"--for", "30s", "--closed-lid"});
    ASSERT_TRUE(first.startsWithin(patience) && second.startsWithin(patience));
    const std::string firstPID = std::to_string(first.process().pid());
    const std::string secondPID = std::to_string(second.process().pid());

    AwakeRun text(machine, {"--list"});
    AwakeRun json(machine, {"--list", "--json"});

    ASSERT_EQ(text.exitWithin(patience), 0) << ::testing::PrintToString(text.errors());
    const std::vector<std::string> lines = text.output();
    ASSERT_EQ(lines.size(), 5u) << ::testing::PrintToString(lines);
    EXPECT_THAT(lines.front(), ::testing::MatchesRegex("WHO +USER +PID +WHAT +WHY +MODE"));
    // The two sessions start together; whose lock comes first is a matter of chance.
    EXPECT_THAT(
        std::vector(lines.begin() + 1, lines.end() - 1),
        UnorderedElementsAre(::testing::MatchesRegex("Quillmoss +root +" + firstPID +
                                                     " +idle +Quillmoss active session +block"),
                             ::testing::MatchesRegex("Quillmoss +root +" + secondPID +
                                                     " +idle +Quillmoss active session +block"),
                             ::testing::MatchesRegex("Quillmoss +root +" + secondPID +
                                                     " +handle-lid-switch +Quillmoss keeps .+")));
    EXPECT_EQ(lines.back(), "3 locks held.");
    ASSERT_EQ(json.exitWithin(patience), 0) << ::testing::PrintToString(json.errors());
    ASSERT_EQ(json.output().size(), 1u);
    ASSERT_FALSE(json.output().empty());
    EXPECT_THAT(json.output().front(),
                AllOf(::testing::MatchesRegex(eventStart),
                      HasSubstr(R"("user":"root","uid":0,"pid":)" + firstPID + R"(,"what":"idle")"),
                      HasSubstr(R"("pid":)" + secondPID + R"(,"what":"handle-lid-switch")")));
    first.process().signal(SIGTERM);
    second.process().signal(SIGTERM);
    EXPECT_EQ(first.exitWithin(patience), 0);
    EXPECT_EQ(second.exitWithin(patience), 0);
}

// A new pseudo-terminal's secondary side, a terminal as a program's standard input.
FileDescriptor pseudoTerminal(FileDescriptor& primary) {
    primary = FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!primary.isOpen() || ::grantpt(primary.get()) != 0 || ::unlockpt(primary.get()) != 0) {
        throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
    }
    return FileDescriptor(::open(::ptsname(primary.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

TEST(AwakeEndToEndTests, OnlyFromATerminalMayPolkitAskTheUserForTheLocks) {
    const PrivateBuses buses;
    const Machine machine = Machine::cool();
    FileDescriptor primary;
    const FileDescriptor terminal = pseudoTerminal(primary);
    const FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(terminal.isOpen() && nothing.isOpen());

    AwakeRun fromTerminal(machine, {"--for", "1s", "--allow-display-sleep"}, terminal.get());
    ASSERT_EQ(fromTerminal.exitWithin(patience), 0)
        << ::testing::PrintToString(fromTerminal.errors());
    AwakeRun fromScript(machine, {"--for", "1s", "--allow-display-sleep"}, nothing.get());
    ASSERT_EQ(fromScript.exitWithin(patience), 0) << ::testing::PrintToString(fromScript.errors());

    EXPECT_THAT(buses.logindInteractiveAuthorizations(), ElementsAre(true, false));
}

class AwakeEndToEndBadUsageTests : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(AwakeEndToEndBadUsageTests, EndsWithStatus2AndOneLineSayingWhy) {
    const Machine machine = Machine::cool();
    AwakeRun run(machine, GetParam());

    ASSERT_EQ(run.exitWithin(patience), 2);

    EXPECT_THAT(run.errors(), ElementsAre(::testing::StartsWith("tallowbeck: ")));
    EXPECT_TRUE(run.output().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, AwakeEndToEndBadUsageTests,
    ::testing::Values(std::vector<std::string>{"--for", "0s"},
                      std::vector<std::string>{"--for", "1d"},
                      std::vector<std::string>{"--for", "1h", "--until", "12:00"},
                      std::vector<std::string>{"--until", "2000-01-01T00:00:00Z"},
                      std::vector<std::string>{"--pid", "1"},
                      std::vector<std::string>{"--pid", "4242", "--", "true"},
                      std::vector<std::string>{"true"},
                      std::vector<std::string>{"--file", "history.json"},
                      std::vector<std::string>{"--record-every", "nan"},
                      std::vector<std::string>{"--retention", "30"},
                      std::vector<std::string>{"--record-every", "5", "--retention", "0"},
                      std::vector<std::string>{"--record-every", "5", "--retention", "0x10"},
                      std::vector<std::string>{"--record-every", "5", "--retention", "+7"},
                      std::vector<std::string>{"--list", "--for", "1h"},
                      std::vector<std::string>{"--list", "--closed-lid"}));

}  // namespace
}  // namespace tallowbeck
