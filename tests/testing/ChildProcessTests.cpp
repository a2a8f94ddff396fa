#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

// True while `pid` names a process, a zombie included.
bool processExists(pid_t pid) { return ::kill(pid, 0) == 0 || errno != ESRCH; }

ChildProcess sleeper() { return ChildProcess::start("/bin/sleep", {"60"}); }

TEST(ChildProcessTests, AForkedChildExitsWithWhatItsWorkReturns) {
    EXPECT_EQ(ChildProcess::fork([] { return 7; }).waitForExit().exitStatus(), 7);
    EXPECT_EQ(ChildProcess::fork([]() -> int { throw std::runtime_error("x"); })
                  .waitForExit()
                  .exitStatus(),
              1);
}

TEST(ChildProcessTests, AStartedProgramGetsItsArgumentsAndStreams) {
    const CapturedOutput output;
    const ChildExit exit = ChildProcess::start("/bin/sh", {"-c", "echo \"$0\" \"$1\"", "a", "b c"},
                                               {.input = -1, .output = output.descriptor()})
                               .waitForExit();
    EXPECT_EQ(exit.exitStatus(), 0);
    EXPECT_EQ(output.text(), "a b c\n");
}

TEST(ChildProcessTests, ASignalledChildHasNoExitStatusAndAShellStatus) {
    ChildProcess child = sleeper();
    child.signal(SIGTERM);
    const ChildExit exit = child.waitForExit();
    EXPECT_EQ(exit.exitStatus(), std::nullopt);
    EXPECT_EQ(exit.shellStatus(), 128 + SIGTERM);
}

TEST(ChildProcessTests, AChildStillRunningAfterTheLimitIsKilledAndTheWaitFails) {
    ChildProcess child = sleeper();
    const pid_t pid = child.pid();
    EXPECT_EQ(child.exitWithin(10ms), std::nullopt);
    EXPECT_THROW(child.waitForExit(10ms), std::runtime_error);
    EXPECT_FALSE(processExists(pid));
}

TEST(ChildProcessTests, AChildLetGoIsKilledAndReaped) {
    pid_t pid = -1;
    {
        const ChildProcess child = sleeper();
        pid = child.pid();
        ASSERT_TRUE(processExists(pid));
    }
    EXPECT_FALSE(processExists(pid));
}

TEST(ChildProcessTests, ThePreparationRunsInTheChildWithTheStreamsInPlaceBeforeTheProgram) {
    const CapturedOutput output;
    const pid_t test = ::getpid();
    const auto prepare = [test] {
        const std::string_view line = ::getpid() == test ? "in the test\n" : "in the child\n";
        static_cast<void>(::write(STDOUT_FILENO, line.data(), line.size()));
    };
    const ChildExit exit =
        ChildProcess::start("/bin/sh", {"-c", "echo program"},
                            {.input = -1, .output = output.descriptor(), .error = -1}, prepare)
            .waitForExit();
    EXPECT_EQ(exit.exitStatus(), 0);
    EXPECT_EQ(output.text(), "in the child\nprogram\n");
}

TEST(ChildProcessTests, AFailedPreparationFailsTheStartWithItsError) {
    const auto failing = [] { throw std::system_error(EPERM, std::generic_category(), "prepare"); };
    const std::optional<std::system_error> error =
        thrown<std::system_error>([&] { ChildProcess::start("/bin/true", {}, {}, failing); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::operation_not_permitted);
}

TEST(ChildProcessTests, AProgramThatCannotRunFailsTheStart) {
    const std::optional<std::system_error> error =
        thrown<std::system_error>([] { ChildProcess::start("/nonexistent/program", {}); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::no_such_file_or_directory);
}

TEST(ChildProcessTests, TheProgramHasEverySignalAtItsDefaultAndNoneBlocked) {
    struct sigaction ignoring {};
    ignoring.sa_handler = SIG_IGN;
    struct sigaction previousAction {};
    ASSERT_EQ(::sigaction(SIGTERM, &ignoring, &previousAction), 0);
    sigset_t blocking;
    sigemptyset(&blocking);
    sigaddset(&blocking, SIGUSR1);
    sigset_t previousMask;
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &blocking, &previousMask), 0);
    ChildProcess terminated = sleeper();
    ChildProcess interrupted = sleeper();
    ::pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    ::sigaction(SIGTERM, &previousAction, nullptr);

    terminated.signal(SIGTERM);
    interrupted.signal(SIGUSR1);

    EXPECT_EQ(terminated.waitForExit(10s).shellStatus(), 128 + SIGTERM);
    EXPECT_EQ(interrupted.waitForExit(10s).shellStatus(), 128 + SIGUSR1);
}

TEST(ChildProcessTests, StopEndsAChildWithSIGTERM) {
    EXPECT_EQ(sleeper().stop(10s).shellStatus(), 128 + SIGTERM);
}

TEST(ChildProcessTests, StopKillsAChildThatOutlivesSIGTERM) {
    ChildProcess child =
        ChildProcess::start("/bin/sleep", {"60"}, {}, [] { ::signal(SIGTERM, SIG_IGN); });
    const pid_t pid = child.pid();
    EXPECT_EQ(child.stop(50ms).shellStatus(), 128 + SIGKILL);
    EXPECT_FALSE(processExists(pid));
}

}  // namespace
}  // namespace tallowbeck::testing
