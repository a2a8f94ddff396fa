// The real watchdog executable, started by a real parent process that the test kills. The test's
// process adopts the orphaned watchdog as its subreaper, as init would adopt it, and reads the
// watchdog's state from /proc.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/ProcessActivity.hpp"
#include "tests/testing/Subreaper.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;
using testing::CapturedOutput;
using testing::ChildExit;
using testing::ChildProcess;

constexpr const char* watchdogPath = TALLOWBECK_WATCHDOG_PATH;
// The watchdog has nothing to do at the end but one system call and its exit.
constexpr auto promptExit = 1s;
// Bounds the wait for a process to start; only a broken set-up comes near it.
constexpr auto startPatience = 5s;

// A watchdog that polls instead of sleeping would burn most of the seconds it waits, far beyond
// anything a sleeping process may be charged.
constexpr auto waitingProcessorBudget = 10ms;

// Stands in for the host application: a shell starts the watchdog with the shell's own pid,
// writing the watchdog's output to its standard error, tells the watchdog's pid on its standard
// output, closes that, and becomes a process that lives until it is killed.
constexpr const char* hostScript = R"("$0" "$$" 1>&2 & echo $!; exec sleep 3600 >/dev/null)";

std::system_error systemError(const char* call) {
    return std::system_error(errno, std::generic_category(), call);
}

// What the shell said on its standard output, up to its closing.
std::string toldBy(const FileDescriptor& readEnd) {
    std::string told;
    char buffer[64];
    for (ssize_t count = 0; (count = ::read(readEnd.get(), buffer, sizeof buffer)) != 0;) {
        if (count < 0 && errno != EINTR) {
            throw systemError("read");
        }
        told.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return told;
}

// The watchdog is declared first so that the host is killed and reaped first: the watchdog is
// then this process's child, and can be reaped in turn.
struct HostAndWatchdog {
    std::optional<ChildProcess> watchdog;
    std::optional<ChildProcess> host;
};

void startHostWithWatchdog(HostAndWatchdog& started, const CapturedOutput& output) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw systemError("pipe2");
    }
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    started.host =
        ChildProcess::start("/bin/sh", {"-c", hostScript, watchdogPath},
                            {.input = -1, .output = writeEnd.get(), .error = output.descriptor()});
    writeEnd.close();
    const std::string told = toldBy(readEnd);
    const pid_t watchdog = static_cast<pid_t>(std::stol(told));
    if (watchdog <= 0) {
        throw std::runtime_error("the host process did not start the watchdog: " + told);
    }
    // Not a child of ours yet, but it will be once the host is gone.
    started.watchdog = ChildProcess::adopt(watchdog);
}

std::optional<char> processState(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const auto afterName = line.rfind(") ");
    if (afterName == std::string::npos || afterName + 2 >= line.size()) {
        return std::nullopt;
    }
    return line[afterName + 2];
}

bool runsTheWatchdog(pid_t pid) {
    std::error_code error;
    const auto executable =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
    return !error && std::filesystem::equivalent(executable, watchdogPath, error);
}

// True once `pid` runs the watchdog and sleeps, which it only does while it waits for its parent.
bool becomesWaitingWatchdog(pid_t pid) {
    const auto deadline = std::chrono::steady_clock::now() + startPatience;
    while (std::chrono::steady_clock::now() < deadline) {
        if (runsTheWatchdog(pid) && processState(pid) == 'S') {
            return true;
        }
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

// A host with its watchdog waiting for it, and this process ready to adopt the watchdog.
class WatchdogParentExit : public ::testing::Test {
protected:
    void SetUp() override {
        startHostWithWatchdog(started_, output);
        ASSERT_TRUE(becomesWaitingWatchdog(watchdogPID()));
    }

    pid_t watchdogPID() const { return started_.watchdog->pid(); }

    // Kills the host as a crash would; the watchdog's end, if it follows within a second.
    std::optional<ChildExit> killHost() {
        started_.host->signal(SIGKILL);
        if (!started_.host->exitWithin(promptExit)) {
            throw std::runtime_error("the host outlived SIGKILL");
        }
        return started_.watchdog->exitWithin(promptExit);
    }

    const CapturedOutput output;

private:
    const testing::Subreaper subreaper_;
    HostAndWatchdog started_;
};

TEST_F(WatchdogParentExit, ExitsWithZeroAndSilentlySoonAfterItsParentIsKilled) {
    const std::optional<ChildExit> exit = killHost();

    ASSERT_TRUE(exit) << "the watchdog outlived its parent by more than a second";
    EXPECT_EQ(exit->exitStatus(), 0) << "wait status " << exit->waitStatus;
    EXPECT_EQ(output.text(), "");
}

TEST_F(WatchdogParentExit, WaitingForItsParentCostsAlmostNoProcessorTime) {
    // Measured from the moment it waits, so that what starting costs (which sanitizer runtimes
    // and a loaded machine inflate) does not count.
    const testing::ProcessActivity waiting = testing::ProcessActivity::of(watchdogPID());
    std::this_thread::sleep_for(3s);
    ASSERT_EQ(processState(watchdogPID()), 'S') << "the watchdog stopped waiting";
    const testing::ProcessActivity waited = testing::ProcessActivity::of(watchdogPID());
    const std::optional<ChildExit> exit = killHost();

    ASSERT_TRUE(exit);
    EXPECT_EQ(exit->exitStatus(), 0) << "wait status " << exit->waitStatus;
    EXPECT_LT(waited.processorTime - waiting.processorTime, waitingProcessorBudget);
    EXPECT_EQ(output.text(), "");
}

}  // namespace
}  // namespace tallowbeck
