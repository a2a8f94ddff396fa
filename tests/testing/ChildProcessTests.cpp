#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>

#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"

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

TEST(ChildProcessTests, TheRawFormsWaitAndReapToo) {
    const pid_t pid = forkRunning([] { return 3; });
    EXPECT_EQ(exitStatusOf(pid), 3);
    EXPECT_FALSE(processExists(pid));
}

}  // namespace
}  // namespace tallowbeck::testing
