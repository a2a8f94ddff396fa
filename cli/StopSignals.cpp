#include "cli/StopSignals.hpp"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/StopSignals.hpp"

namespace tallowbeck::cli {
namespace {

timespec waitingTime(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {.tv_sec = seconds.count(), .tv_nsec = (duration - seconds).count()};
}

void block(const sigset_t& signals) {
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block signals");
    }
}

}  // namespace

sigset_t blockStopSignals() {
    const sigset_t signals = stopSignals();
    block(signals);
    return signals;
}

void alsoAwait(sigset_t& signals, int signal) {
    sigset_t added;
    sigemptyset(&added);
    sigaddset(&added, signal);
    block(added);
    sigaddset(&signals, signal);
}

std::optional<int> signalBefore(const sigset_t& signals,
                                std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const auto remaining =
            std::max<std::chrono::nanoseconds>(deadline - std::chrono::steady_clock::now(), {});
        const timespec timeout = waitingTime(remaining);
        if (const int signal = ::sigtimedwait(&signals, nullptr, &timeout); signal >= 0) {
            return signal;
        }
        if (errno == EAGAIN) {
            return std::nullopt;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "sigtimedwait");
        }
    }
}

bool stopRequestedBefore(const sigset_t& stopSignals,
                         std::chrono::steady_clock::time_point deadline) {
    return signalBefore(stopSignals, deadline).has_value();
}

bool stopRequestedBeforeWallTime(const sigset_t& stopSignals, double secondsSince1970) {
    // A timer on the real-time clock, unlike a timeout, counts the time the machine slept.
    const FileDescriptor timer(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC));
    const auto whole = std::floor(secondsSince1970);
    const itimerspec alarm{
        .it_interval = {},
        .it_value = {.tv_sec = static_cast<time_t>(whole),
                     .tv_nsec = static_cast<long>((secondsSince1970 - whole) * 1e9)}};
    const FileDescriptor signals(::signalfd(-1, &stopSignals, SFD_CLOEXEC));
    if (!timer.isOpen() || !signals.isOpen() ||
        ::timerfd_settime(timer.get(), TFD_TIMER_ABSTIME, &alarm, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for the wall clock");
    }
    std::array<pollfd, 2> awaited{{{signals.get(), POLLIN, 0}, {timer.get(), POLLIN, 0}}};
    while (::poll(awaited.data(), awaited.size(), -1) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
    }
    if ((awaited[0].revents & POLLIN) == 0) {
        return false;
    }
    signalfd_siginfo taken{};
    static_cast<void>(::read(signals.get(), &taken, sizeof taken));
    return true;
}

}  // namespace tallowbeck::cli
