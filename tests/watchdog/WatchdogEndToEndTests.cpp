// The real watchdog executable, watching a real parent that the test kills.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/testing/Subreaper.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;

constexpr const char* watchdogPath = TALLOWBECK_WATCHDOG_PATH;
// The watchdog has nothing to do at the end but one system call and its exit.
constexpr auto promptExit = 1s;
// Bounds the wait for a process to start; only a broken set-up comes near it.
constexpr auto startPatience = 5s;

// A watchdog that polls instead of sleeping would burn most of the seconds it waits, far beyond
// what starting and ending the process costs.
constexpr auto waitingProcessorBudget = 10ms;

std::system_error systemError(const char* call) {
    return std::system_error(errno, std::generic_category(), call);
}

[[noreturn]] void execWatchdog(int outputFD, char* const* argv) {
    ::dup2(outputFD, STDOUT_FILENO);
    ::dup2(outputFD, STDERR_FILENO);
    ::execv(watchdogPath, argv);
    ::_exit(127);
}

struct Exit {
    int status = 0;
    rusage usage{};

    bool exitedWithZero() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }

    std::chrono::microseconds cpuTime() const {
        const auto microseconds = [](const timeval& time) {
            return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
        };
        return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
    }
};

// Processes this test started, killed and reaped at the end whatever happened to the test.
class Processes {
public:
    ~Processes() {
        for (const pid_t pid : pids_) {
            ::kill(pid, SIGKILL);
        }
        for (const pid_t pid : pids_) {
            ::waitpid(pid, nullptr, 0);
        }
    }

    pid_t adopt(pid_t pid) {
        pids_.push_back(pid);
        return pid;
    }

    void forget(pid_t pid) { std::erase(pids_, pid); }

    // Reaps `pid`, a child of this process, if it exits within `timeout`; kills it otherwise.
    std::optional<Exit> exitWithin(pid_t pid, std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        Exit exit;
        while (std::chrono::steady_clock::now() < deadline) {
            const pid_t reaped = ::wait4(pid, &exit.status, WNOHANG, &exit.usage);
            if (reaped == pid) {
                forget(pid);
                return exit;
            }
            if (reaped < 0 && errno != EINTR) {
                throw systemError("wait4");
            }
            std::this_thread::sleep_for(1ms);
        }
        return std::nullopt;
    }

    pid_t forkOrThrow() {
        const pid_t pid = ::fork();
        if (pid < 0) {
            throw systemError("fork");
        }
        return pid == 0 ? 0 : adopt(pid);
    }

private:
    std::vector<pid_t> pids_;
};

// Everything the watchdog writes goes to one file.
class CapturedOutput {
public:
    CapturedOutput() : path_(directory_.path() / "output") {
        fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd_ < 0) {
            throw systemError("open");
        }
    }
    ~CapturedOutput() { ::close(fd_); }

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    int fd() const { return fd_; }

    std::string text() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    testing::TemporaryDirectory directory_;
    std::filesystem::path path_;
    int fd_ = -1;
};

// Stands in for the host application: starts the watchdog with its own pid, reports the
// watchdog's pid through `report`, then lives until it is killed.
[[noreturn]] void actAsHostApplication(int outputFD, int report) {
    char pidText[16] = {};
    std::to_chars(pidText, pidText + sizeof pidText - 1, ::getpid());
    char* argv[] = {const_cast<char*>(watchdogPath), pidText, nullptr};
    const pid_t watchdog = ::fork();
    if (watchdog == 0) {
        execWatchdog(outputFD, argv);
    }
    if (::write(report, &watchdog, sizeof watchdog) != sizeof watchdog) {
        ::_exit(1);
    }
    for (;;) {
        ::pause();
    }
}

struct HostAndWatchdog {
    pid_t host = -1;
    pid_t watchdog = -1;
};

HostAndWatchdog startHostWithWatchdog(Processes& processes, const CapturedOutput& output) {
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0) {
        throw systemError("pipe2");
    }
    HostAndWatchdog started;
    started.host = processes.forkOrThrow();
    if (started.host == 0) {
        ::close(report[0]);
        actAsHostApplication(output.fd(), report[1]);
    }
    ::close(report[1]);
    const ssize_t received = ::read(report[0], &started.watchdog, sizeof started.watchdog);
    ::close(report[0]);
    if (received != sizeof started.watchdog || started.watchdog <= 0) {
        throw std::runtime_error("the host process did not start the watchdog");
    }
    // Not a child of ours yet, but it will be once the host is gone.
    processes.adopt(started.watchdog);
    return started;
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

std::optional<Exit> runWatchdog(std::vector<std::string> arguments, const CapturedOutput& output,
                                Processes& processes) {
    arguments.insert(arguments.begin(), watchdogPath);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const pid_t watchdog = processes.forkOrThrow();
    if (watchdog == 0) {
        execWatchdog(output.fd(), argv.data());
    }
    return processes.exitWithin(watchdog, promptExit);
}

// A living process that is not the watchdog's parent.
pid_t startBystander(Processes& processes) {
    const pid_t bystander = processes.forkOrThrow();
    if (bystander == 0) {
        for (;;) {
            ::pause();
        }
    }
    return bystander;
}

TEST(WatchdogEndToEnd, ExitsWithZeroAndSilentlySoonAfterItsParentIsKilled) {
    const testing::Subreaper subreaper;
    Processes processes;
    const CapturedOutput output;
    const HostAndWatchdog started = startHostWithWatchdog(processes, output);
    ASSERT_TRUE(becomesWaitingWatchdog(started.watchdog));

    ASSERT_EQ(::kill(started.host, SIGKILL), 0);
    ASSERT_TRUE(processes.exitWithin(started.host, promptExit));
    const std::optional<Exit> exit = processes.exitWithin(started.watchdog, promptExit);

    ASSERT_TRUE(exit) << "the watchdog outlived its parent by more than a second";
    EXPECT_TRUE(exit->exitedWithZero()) << "wait status " << exit->status;
    EXPECT_EQ(output.text(), "");
}

TEST(WatchdogEndToEnd, WaitingForItsParentCostsAlmostNoProcessorTime) {
    const testing::Subreaper subreaper;
    Processes processes;
    const CapturedOutput output;
    // What starting and ending costs, which sanitizer runtimes and a loaded machine inflate.
    const std::optional<Exit> startAndEnd = runWatchdog({"0"}, output, processes);
    ASSERT_TRUE(startAndEnd);
    const HostAndWatchdog started = startHostWithWatchdog(processes, output);
    ASSERT_TRUE(becomesWaitingWatchdog(started.watchdog));

    std::this_thread::sleep_for(3s);
    ASSERT_EQ(processState(started.watchdog), 'S') << "the watchdog stopped waiting";
    ASSERT_EQ(::kill(started.host, SIGKILL), 0);
    ASSERT_TRUE(processes.exitWithin(started.host, promptExit));
    const std::optional<Exit> exit = processes.exitWithin(started.watchdog, promptExit);

    ASSERT_TRUE(exit);
    EXPECT_TRUE(exit->exitedWithZero()) << "wait status " << exit->status;
    EXPECT_LT(exit->cpuTime(), startAndEnd->cpuTime() + waitingProcessorBudget);
    EXPECT_EQ(output.text(), "");
}

class WatchdogEndToEndIgnoredArguments : public ::testing::TestWithParam<std::vector<std::string>> {
};

TEST_P(WatchdogEndToEndIgnoredArguments, ExitWithZeroAtOnceAndSilently) {
    Processes processes;
    const CapturedOutput output;

    const std::optional<Exit> exit = runWatchdog(GetParam(), output, processes);

    ASSERT_TRUE(exit) << "the watchdog did not exit within a second";
    EXPECT_TRUE(exit->exitedWithZero()) << "wait status " << exit->status;
    EXPECT_EQ(output.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    BadCommandLines, WatchdogEndToEndIgnoredArguments,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"42", "43"},
                      std::vector<std::string>{""}, std::vector<std::string>{" 42"},
                      std::vector<std::string>{"0x2A"}, std::vector<std::string>{"2147483648"},
                      std::vector<std::string>{"1"}, std::vector<std::string>{"0"},
                      std::vector<std::string>{"-5"}));

TEST(WatchdogEndToEnd, PIDOfALivingProcessOtherThanItsParentEndsTheRunAtOnce) {
    Processes processes;
    const CapturedOutput output;
    const pid_t bystander = startBystander(processes);

    const std::optional<Exit> exit = runWatchdog({std::to_string(bystander)}, output, processes);

    ASSERT_TRUE(exit) << "the watchdog waited for a process that is not its parent";
    EXPECT_TRUE(exit->exitedWithZero()) << "wait status " << exit->status;
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(processState(bystander), 'S');
}

}  // namespace
}  // namespace tallowbeck
