#pragma once

#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tallowbeck::testing {

// How a child process ended, as wait4 told it.
struct ChildExit {
    int waitStatus = 0;
    rusage usage{};

    // Its exit status; nothing when a signal ended it.
    std::optional<int> exitStatus() const noexcept;
    // Its exit status, or 128 plus the signal that ended it, as a shell says.
    int shellStatus() const noexcept;
    // User and system time together.
    std::chrono::microseconds processorTime() const noexcept;
};

// The descriptors a started program gets as its standard streams; -1 keeps this process's.
struct ChildStreams {
    int input = -1;
    int output = -1;
    int error = -1;
};

// A process a test started, or one that became a child of the test's process. Whatever happens
// to the test, it is killed and reaped when its owner lets it go, and every wait for it is
// bounded, so that a test never leaves a process behind nor hangs on one.
class ChildProcess {
public:
    // Long enough for a child's work on any loaded machine; one that takes longer has hung.
    static constexpr std::chrono::seconds patience{120};

    // Runs `work` in a forked child, which exits with the status `work` returns, or 1 when it
    // throws.
    template <typename Work>
    static ChildProcess fork(Work&& work) {
        const pid_t child = ::fork();
        if (child == 0) {
            int status = 1;
            try {
                status = work();
            } catch (...) {
            }
            ::_exit(status);
        }
        return started(child, "fork");
    }

    // Runs the program at `path` with `arguments` (not counting its name), with every signal at
    // its default disposition and none blocked, whatever the test's own process has set.
    // `prepare`, when given, runs in the child with the streams in place, right before the
    // program starts. Throws std::system_error when the program cannot start, with the error
    // `prepare` threw where it threw a std::system_error.
    static ChildProcess start(const std::string& path, const std::vector<std::string>& arguments,
                              ChildStreams streams = {}, const std::function<void()>& prepare = {});

    // Takes charge of a process that is, or is about to become, a child of this one, such as an
    // orphan adopted by this process as its subreaper.
    static ChildProcess adopt(pid_t pid) noexcept { return ChildProcess(pid); }

    ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess();

    pid_t pid() const noexcept { return pid_; }
    void signal(int signalNumber) const noexcept;

    // Reaps the child if it ends within `limit`; nothing while it still runs.
    std::optional<ChildExit> exitWithin(std::chrono::milliseconds limit);
    // Reaps the child once it ends. One still running after `limit` is killed, and the wait
    // throws std::runtime_error.
    ChildExit waitForExit(std::chrono::milliseconds limit = patience);
    // Asks the child to end with SIGTERM, kills it when it has not ended within `grace`, and
    // reaps it.
    ChildExit stop(std::chrono::milliseconds grace);

private:
    explicit ChildProcess(pid_t pid) noexcept : pid_(pid) {}
    // Throws std::system_error naming `call` when `pid` tells of a failed start.
    static ChildProcess started(pid_t pid, const char* call);
    // Reaps the child if it has ended; nothing while it still runs.
    std::optional<ChildExit> reapIfEnded();
    void killAndReap() noexcept;

    pid_t pid_;  // -1 once reaped
};

}  // namespace tallowbeck::testing
