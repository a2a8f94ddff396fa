#include "cli/StopSignals.hpp"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

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

}  // namespace tallowbeck::cli
