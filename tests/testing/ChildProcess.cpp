#include "tests/testing/ChildProcess.hpp"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

extern char** environ;

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

// Who keeps polling is never more than this late to see the end.
constexpr auto pollInterval = 1ms;

// Every signal at its default and none blocked in the spawned program.
class DefaultSignals {
public:
    DefaultSignals() {
        posix_spawnattr_init(&attributes_);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~DefaultSignals() { posix_spawnattr_destroy(&attributes_); }

    DefaultSignals(const DefaultSignals&) = delete;
    DefaultSignals& operator=(const DefaultSignals&) = delete;

    const posix_spawnattr_t* get() const noexcept { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

// Puts the given descriptors in place of the standard streams.
class StreamActions {
public:
    explicit StreamActions(ChildStreams streams) {
        posix_spawn_file_actions_init(&actions_);
        for (const auto& [descriptor, target] :
             {std::pair{streams.input, STDIN_FILENO}, std::pair{streams.output, STDOUT_FILENO},
              std::pair{streams.error, STDERR_FILENO}}) {
            if (descriptor >= 0) {
                posix_spawn_file_actions_adddup2(&actions_, descriptor, target);
            }
        }
    }
    ~StreamActions() { posix_spawn_file_actions_destroy(&actions_); }

    StreamActions(const StreamActions&) = delete;
    StreamActions& operator=(const StreamActions&) = delete;

    const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

}  // namespace

std::optional<int> ChildExit::exitStatus() const noexcept {
    return WIFEXITED(waitStatus) ? std::optional(WEXITSTATUS(waitStatus)) : std::nullopt;
}

int ChildExit::shellStatus() const noexcept {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

std::chrono::microseconds ChildExit::processorTime() const noexcept {
    const auto microseconds = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

ChildProcess ChildProcess::start(const std::string& path, const std::vector<std::string>& arguments,
                                 ChildStreams streams) {
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const DefaultSignals signals;
    const StreamActions actions(streams);
    pid_t pid = -1;
    const int error =
        ::posix_spawn(&pid, path.c_str(), actions.get(), signals.get(), argv.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "posix_spawn " + path);
    }
    return ChildProcess(pid);
}

ChildProcess ChildProcess::started(pid_t pid, const char* call) {
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
    return ChildProcess(pid);
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    if (this != &other) {
        killAndReap();
        pid_ = std::exchange(other.pid_, -1);
    }
    return *this;
}

ChildProcess::~ChildProcess() { killAndReap(); }

void ChildProcess::signal(int signalNumber) const noexcept {
    if (pid_ > 0) {
        ::kill(pid_, signalNumber);
    }
}

std::optional<ChildExit> ChildProcess::exitWithin(std::chrono::milliseconds limit) {
    if (pid_ <= 0) {
        throw std::logic_error("waiting for a child process that has already been reaped");
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        ChildExit exit;
        const pid_t reaped = ::wait4(pid_, &exit.waitStatus, WNOHANG, &exit.usage);
        if (reaped == pid_) {
            pid_ = -1;
            return exit;
        }
        if (reaped < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "wait4");
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(pollInterval);
    }
}

ChildExit ChildProcess::waitForExit(std::chrono::milliseconds limit) {
    if (const std::optional<ChildExit> exit = exitWithin(limit)) {
        return *exit;
    }
    killAndReap();
    throw std::runtime_error("the child process was still running after the time it was given");
}

void ChildProcess::killAndReap() noexcept {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    pid_ = -1;
}

int exitStatusOf(pid_t child) { return ChildProcess::adopt(child).waitForExit().shellStatus(); }

}  // namespace tallowbeck::testing
