#include "cli/StopSignals.hpp"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tallowbeck::cli {
namespace {

timespec waitingTime(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {.tv_sec = seconds.count(), .tv_nsec = (duration - seconds).count()};
}

}  // namespace

sigset_t blockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block SIGINT and SIGTERM");
    }
    return signals;
}

bool stopRequestedBefore(const sigset_t& stopSignals,
                         std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const auto remaining =
            std::max<std::chrono::nanoseconds>(deadline - std::chrono::steady_clock::now(), {});
        const timespec timeout = waitingTime(remaining);
        if (::sigtimedwait(&stopSignals, nullptr, &timeout) >= 0) {
            return true;
        }
        if (errno == EAGAIN) {
            return false;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "sigtimedwait");
        }
    }
}

}  // namespace tallowbeck::cli
