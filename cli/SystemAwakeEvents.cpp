#include "cli/SystemAwakeEvents.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/power/ProcessExitWatcher.hpp"

extern char** environ;

namespace tallowbeck::cli {
namespace {

// The pipe's writing end, for the signal handler, which can reach nothing else.
std::atomic<int> signalPipe{-1};

extern "C" void forwardSignal(int signal) {
    const int savedErrno = errno;
    const auto number = static_cast<unsigned char>(signal);
    static_cast<void>(::write(signalPipe.load(), &number, 1));
    errno = savedErrno;
}

// Both ends closed on exec; the writing end never blocks a signal handler.
void makePipe(FileDescriptor& reader, FileDescriptor& writer) {
    int ends[2];
    if (::pipe(ends) != 0) {
        SystemCall::throwLastError("cannot make the signal pipe");
    }
    reader = FileDescriptor(ends[0]);
    writer = FileDescriptor(ends[1]);
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
}

int pollTimeout(double seconds) noexcept {
    const double milliseconds = std::ceil(std::max(seconds, 0.0) * 1000.0);
    return milliseconds >= INT_MAX ? INT_MAX : static_cast<int>(milliseconds);
}

int shellStatus(int waitStatus) noexcept {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

// Spawn attributes that give a child the signals' default handling and an empty signal mask,
// whatever this process does with them.
class DefaultSignals {
public:
    explicit DefaultSignals(bool ownProcessGroup) {
        posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigemptyset(&none);
        sigset_t stops;
        sigemptyset(&stops);
        for (const int signal : SystemAwakeEvents::stopSignals) {
            sigaddset(&stops, signal);
        }
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &stops);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (ownProcessGroup) {
            flags |= POSIX_SPAWN_SETPGROUP;
            posix_spawnattr_setpgroup(&attributes_, 0);
        }
        posix_spawnattr_setflags(&attributes_, flags);
    }
    ~DefaultSignals() { posix_spawnattr_destroy(&attributes_); }
    DefaultSignals(const DefaultSignals&) = delete;
    DefaultSignals& operator=(const DefaultSignals&) = delete;

    const posix_spawnattr_t* get() const noexcept { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

std::vector<char*> argumentVector(std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    return argv;
}

}  // namespace

SystemAwakeEvents::SystemAwakeEvents(SessionClock& clock, std::vector<std::string> command,
                                     std::optional<std::int32_t> watchedPID)
    : clock_(clock), command_(std::move(command)), watchedPID_(watchedPID) {
    if (watchedPID_) {
        watchedExit_ = ProcessExitWatcher::exitDescriptor(*watchedPID_);
        if (!watchedExit_.isOpen()) {
            throw std::invalid_argument("there is no process " + std::to_string(*watchedPID_) +
                                        " to watch");
        }
    }
    makePipe(signalReader_, signalWriter_);
    signalPipe.store(signalWriter_.get());
    struct sigaction action {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    for (std::size_t index = 0; index < stopSignals.size(); ++index) {
        ::sigaction(stopSignals[index], &action, &previousActions_[index]);
    }
}

SystemAwakeEvents::~SystemAwakeEvents() {
    for (std::size_t index = 0; index < stopSignals.size(); ++index) {
        ::sigaction(stopSignals[index], &previousActions_[index], nullptr);
    }
    signalPipe.store(-1);
}

void SystemAwakeEvents::begin() {
    if (command_.empty()) {
        return;
    }
    const DefaultSignals attributes(false);
    std::vector<char*> argv = argumentVector(command_);
    if (const int error =
            ::posix_spawnp(&commandPID_, argv[0], nullptr, attributes.get(), argv.data(), environ);
        error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot run " + command_[0]);
    }
    commandExit_ = ProcessExitWatcher::exitDescriptor(commandPID_);
}

std::optional<AwakeEnding> SystemAwakeEvents::waitUntil(double deadline) {
    // A child that could not be watched (it ended before) is looked at on every wait.
    if (commandPID_ > 0 && !commandExit_.isOpen()) {
        int status = 0;
        if (::waitpid(commandPID_, &status, WNOHANG) == commandPID_) {
            commandPID_ = -1;
            return AwakeEnding::commandExited(shellStatus(status));
        }
    }
    std::array<pollfd, 3> waited{{{signalReader_.get(), POLLIN, 0},
                                  {commandExit_.get(), POLLIN, 0},
                                  {watchedExit_.get(), POLLIN, 0}}};
    const int ready = SystemCall::retryingInterrupted([&] {
        return ::poll(waited.data(), waited.size(), pollTimeout(deadline - clock_.steadyTime()));
    });
    if (ready < 0) {
        SystemCall::throwLastError("poll");
    }
    if (waited[0].revents != 0) {
        unsigned char signal = 0;
        if (::read(signalReader_.get(), &signal, 1) == 1) {
            return AwakeEnding::stopSignal(signal);
        }
    }
    if (waited[1].revents != 0) {
        return commandEnding();
    }
    if (waited[2].revents != 0) {
        watchedExit_.close();
        return AwakeEnding::processExited(*watchedPID_);
    }
    return std::nullopt;
}

AwakeEnding SystemAwakeEvents::commandEnding() {
    int status = 0;
    SystemCall::retryingInterrupted([&] { return ::waitpid(commandPID_, &status, 0); });
    commandExit_.close();
    commandPID_ = -1;
    return AwakeEnding::commandExited(shellStatus(status));
}

void startWatchdog(const std::string& watchdog) {
    const DefaultSignals attributes(true);
    std::vector<std::string> words{watchdog, std::to_string(::getpid())};
    std::vector<char*> argv = argumentVector(words);
    pid_t pid = 0;
    if (const int error =
            ::posix_spawn(&pid, watchdog.c_str(), nullptr, attributes.get(), argv.data(), environ);
        error != 0) {
        throw std::system_error(error, std::generic_category(), watchdog);
    }
}

}  // namespace tallowbeck::cli
