#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "TallowbeckCore/platform/linux/LinuxProcessExit.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/ChildProcess.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;

// Long enough for any loaded machine, short enough that a broken wait fails instead of hanging.
constexpr auto patience = 5s;

// True when `pid`, a child of this process, has exited; leaves it to be reaped later.
bool childHasExited(pid_t pid) {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid;
}

// Process descriptors this process holds open ("anon_inode:[pidfd]", or "pidfd:[...]" on
// kernels with a pidfd file system).
long openProcessDescriptorCount() {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        count += target.find("pidfd") != std::string::npos;
    }
    return count;
}

// Reads the system call a thread of this process is blocked in; "running" threads are in none.
bool threadIsInPoll(pid_t tid) {
    std::ifstream file("/proc/self/task/" + std::to_string(tid) + "/syscall");
    long number = -1;
    if (!(file >> number)) {
        return false;
    }
#ifdef SYS_poll
    if (number == SYS_poll) {
        return true;
    }
#endif
    return number == SYS_ppoll;
}

// A child process that lives until the test lets it go, and is killed if the test fails first.
class WatchedChild {
public:
    WatchedChild() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        const FileDescriptor readEnd(ends[0]);
        release_ = FileDescriptor(ends[1]);
        process_ = testing::ChildProcess::fork([&] {
            release_.close();
            char byte = 0;
            while (::read(readEnd.get(), &byte, 1) < 0 && errno == EINTR) {
            }
            return 0;
        });
    }

    pid_t pid() const { return process_->pid(); }

    void letExit() { release_.close(); }

private:
    FileDescriptor release_;
    std::optional<testing::ChildProcess> process_;
};

// A child that ends at once.
testing::ChildProcess exitingChild() {
    return testing::ChildProcess::fork([] { return 0; });
}

// The id of a process that has come and gone, so nothing answers to it any more.
pid_t reapedProcessID() {
    testing::ChildProcess child = exitingChild();
    const pid_t pid = child.pid();
    child.waitForExit();
    return pid;
}

// The system's process-exit wait for `pid`, run on its own thread so that the test can watch it,
// interrupt it, and give up on it instead of hanging.
class BackgroundWait {
public:
    explicit BackgroundWait(pid_t pid) : state_(std::make_shared<State>()) {
        thread_ = std::thread([state = state_, pid] {
            state->publishThreadID(::gettid());
            ProcessExit::system().waitForExit(pid);
            state->finish(childHasExited(pid));
        });
    }

    ~BackgroundWait() {
        // A wait that never ends is left behind rather than hanging the whole suite.
        if (finishedWithin(0s)) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }

    BackgroundWait(const BackgroundWait&) = delete;
    BackgroundWait& operator=(const BackgroundWait&) = delete;

    bool finishedWithin(std::chrono::milliseconds timeout) {
        std::unique_lock lock(state_->mutex);
        return state_->changed.wait_for(lock, timeout, [this] { return state_->finished; });
    }

    // Whether the watched child had exited at the moment the wait returned.
    bool childHadExitedOnReturn() {
        const std::lock_guard lock(state_->mutex);
        return state_->childExitedOnReturn;
    }

    // True once the waiting thread is blocked in poll; false if the wait ends instead.
    bool reachesPoll() {
        const pid_t tid = threadID();
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < deadline && !finishedWithin(0s)) {
            if (threadIsInPoll(tid)) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    pthread_t nativeHandle() { return thread_.native_handle(); }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        pid_t threadID = 0;
        bool finished = false;
        bool childExitedOnReturn = false;

        void publishThreadID(pid_t tid) {
            const std::lock_guard lock(mutex);
            threadID = tid;
            changed.notify_all();
        }

        void finish(bool childExited) {
            const std::lock_guard lock(mutex);
            finished = true;
            childExitedOnReturn = childExited;
            changed.notify_all();
        }
    };

    pid_t threadID() {
        std::unique_lock lock(state_->mutex);
        state_->changed.wait(lock, [this] { return state_->threadID != 0; });
        return state_->threadID;
    }

    std::shared_ptr<State> state_;
    std::thread thread_;
};

std::atomic<int> interruptionsHandled{0};

// Installs a SIGUSR1 handler without SA_RESTART, so that the signal interrupts a blocking call.
class InterruptingSignal {
public:
    InterruptingSignal() {
        interruptionsHandled = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++interruptionsHandled; };
        sigemptyset(&action.sa_mask);
        action.sa_flags = 0;
        ::sigaction(SIGUSR1, &action, &previous_);
    }

    ~InterruptingSignal() { ::sigaction(SIGUSR1, &previous_, nullptr); }

    InterruptingSignal(const InterruptingSignal&) = delete;
    InterruptingSignal& operator=(const InterruptingSignal&) = delete;

    static bool handledWithin(std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (interruptionsHandled == 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        return interruptionsHandled > 0;
    }

private:
    struct sigaction previous_ {};
};

// System calls that answer as a test scripted them, one answer per call, and note each call. An
// open that succeeds hands out a real descriptor, so that its closing can be seen.
class ScriptedProcessDescriptorCalls final : public ProcessDescriptorCalls {
public:
    // A result, or -1 with this errno.
    struct Answer {
        int result = 0;
        int error = 0;
    };
    static constexpr Answer descriptor{.result = 0, .error = 0};
    static constexpr Answer failure(int error) { return {.result = -1, .error = error}; }
    static constexpr Answer readable{.result = 1, .error = 0};

    std::vector<Answer> openAnswers;
    std::vector<Answer> pollAnswers;
    std::vector<std::string> calls;
    int openedDescriptor = -1;

    int pidfdOpen(std::int32_t pid) override {
        calls.push_back("pidfd_open " + std::to_string(pid));
        const Answer answer = next(openAnswers);
        if (answer.result == -1) {
            return failed(answer);
        }
        openedDescriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        return openedDescriptor;
    }

    int poll(pollfd* entries, nfds_t count, int timeout) override {
        calls.push_back("poll " + std::to_string(count) + " " + std::to_string(timeout) +
                        (entries[0].fd == openedDescriptor && entries[0].events == POLLIN
                             ? " on the descriptor"
                             : " on something else"));
        const Answer answer = next(pollAnswers);
        return answer.result == -1 ? failed(answer) : answer.result;
    }

private:
    static Answer next(std::vector<Answer>& answers) {
        if (answers.empty()) {
            throw std::logic_error("a call the test did not script");
        }
        const Answer answer = answers.front();
        answers.erase(answers.begin());
        return answer;
    }

    static int failed(Answer answer) {
        errno = answer.error;
        return -1;
    }
};

bool isOpenDescriptor(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

class LinuxProcessExitCalls : public ::testing::Test {
protected:
    using Answer = ScriptedProcessDescriptorCalls::Answer;

    std::vector<std::string> callsOfAWait(std::vector<Answer> openAnswers,
                                          std::vector<Answer> pollAnswers) {
        calls.openAnswers = std::move(openAnswers);
        calls.pollAnswers = std::move(pollAnswers);
        LinuxProcessExit(calls).waitForExit(watched);
        return calls.calls;
    }

    static constexpr std::int32_t watched = 4242;
    static constexpr const char* open = "pidfd_open 4242";
    static constexpr const char* poll = "poll 1 -1 on the descriptor";
    ScriptedProcessDescriptorCalls calls;
};

TEST_F(LinuxProcessExitCalls, AnInterruptedOpenIsRepeated) {
    EXPECT_EQ(callsOfAWait({ScriptedProcessDescriptorCalls::failure(EINTR),
                            ScriptedProcessDescriptorCalls::descriptor},
                           {ScriptedProcessDescriptorCalls::readable}),
              (std::vector<std::string>{open, open, poll}));
    EXPECT_FALSE(isOpenDescriptor(calls.openedDescriptor));
}

TEST_F(LinuxProcessExitCalls, AnInterruptedWaitIsRepeated) {
    EXPECT_EQ(callsOfAWait({ScriptedProcessDescriptorCalls::descriptor},
                           {ScriptedProcessDescriptorCalls::failure(EINTR),
                            ScriptedProcessDescriptorCalls::readable}),
              (std::vector<std::string>{open, poll, poll}));
    EXPECT_FALSE(isOpenDescriptor(calls.openedDescriptor));
}

TEST_F(LinuxProcessExitCalls, AnOpenThatFailsOtherwiseEndsTheWaitAtOnce) {
    EXPECT_EQ(callsOfAWait({ScriptedProcessDescriptorCalls::failure(ESRCH)}, {}),
              std::vector<std::string>{open});
}

TEST_F(LinuxProcessExitCalls, AWaitThatFailsOtherwiseEndsAndClosesTheDescriptor) {
    EXPECT_EQ(callsOfAWait({ScriptedProcessDescriptorCalls::descriptor},
                           {ScriptedProcessDescriptorCalls::failure(ENOMEM)}),
              (std::vector<std::string>{open, poll}));
    EXPECT_FALSE(isOpenDescriptor(calls.openedDescriptor));
}

TEST(LinuxProcessExit, IsTheSystemProcessExitOnLinux) {
    EXPECT_NE(dynamic_cast<LinuxProcessExit*>(&ProcessExit::system()), nullptr);
}

TEST(LinuxProcessExit, WaitEndsOnlyAfterTheWatchedProcessExitsAndClosesItsDescriptor) {
    WatchedChild child;
    const long descriptorsBefore = openProcessDescriptorCount();
    BackgroundWait wait(child.pid());

    ASSERT_TRUE(wait.reachesPoll());
    EXPECT_FALSE(wait.finishedWithin(0ms));
    EXPECT_EQ(openProcessDescriptorCount(), descriptorsBefore + 1);
    child.letExit();

    ASSERT_TRUE(wait.finishedWithin(patience));
    EXPECT_TRUE(wait.childHadExitedOnReturn());
    EXPECT_EQ(openProcessDescriptorCount(), descriptorsBefore);
}

TEST(LinuxProcessExit, ReturnsAtOnceForAProcessThatIsAlreadyGone) {
    const pid_t gone = reapedProcessID();
    const long descriptorsBefore = openProcessDescriptorCount();

    BackgroundWait wait(gone);

    EXPECT_TRUE(wait.finishedWithin(patience));
    EXPECT_EQ(openProcessDescriptorCount(), descriptorsBefore);
}

TEST(LinuxProcessExit, ReturnsAtOnceForAnExitedProcessNotYetReaped) {
    const testing::ChildProcess zombie = exitingChild();
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(zombie.pid()), &info, WEXITED | WNOWAIT), 0);
    const long descriptorsBefore = openProcessDescriptorCount();

    {
        BackgroundWait wait(zombie.pid());
        EXPECT_TRUE(wait.finishedWithin(patience));
    }

    EXPECT_EQ(openProcessDescriptorCount(), descriptorsBefore);
}

TEST(LinuxProcessExit, ReturnsAtOnceForProcessIDsThatNameNoProcess) {
    for (const pid_t pid : {0, -5}) {
        SCOPED_TRACE(pid);
        BackgroundWait wait(pid);
        EXPECT_TRUE(wait.finishedWithin(patience));
    }
}

TEST(LinuxProcessExit, SignalDuringTheWaitDoesNotEndIt) {
    const InterruptingSignal signal;
    WatchedChild child;
    const long descriptorsBefore = openProcessDescriptorCount();
    BackgroundWait wait(child.pid());
    ASSERT_TRUE(wait.reachesPoll());

    ASSERT_EQ(::pthread_kill(wait.nativeHandle(), SIGUSR1), 0);
    ASSERT_TRUE(InterruptingSignal::handledWithin(patience));

    EXPECT_TRUE(wait.reachesPoll());
    EXPECT_FALSE(wait.finishedWithin(0ms));
    child.letExit();
    ASSERT_TRUE(wait.finishedWithin(patience));
    EXPECT_TRUE(wait.childHadExitedOnReturn());
    EXPECT_EQ(openProcessDescriptorCount(), descriptorsBefore);
}

bool isReadableWithin(const FileDescriptor& descriptor, std::chrono::milliseconds timeout) {
    pollfd entry{descriptor.get(), POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(timeout.count())) == 1 && (entry.revents & POLLIN);
}

TEST(LinuxProcessExit, ExitDescriptorBecomesReadableOnlyOnceTheProcessHasExited) {
    WatchedChild child;
    LinuxProcessExit platform;
    const FileDescriptor descriptor = platform.exitDescriptor(child.pid());
    ASSERT_TRUE(descriptor.isOpen());
    EXPECT_EQ(::fcntl(descriptor.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_FALSE(isReadableWithin(descriptor, 50ms));

    child.letExit();

    EXPECT_TRUE(isReadableWithin(descriptor, patience));
}

TEST(LinuxProcessExit, NoExitDescriptorForAProcessThatIsAlreadyGone) {
    LinuxProcessExit platform;
    EXPECT_FALSE(platform.exitDescriptor(reapedProcessID()).isOpen());
}

}  // namespace
}  // namespace tallowbeck
