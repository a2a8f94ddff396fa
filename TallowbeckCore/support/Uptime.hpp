#pragma once

#include <chrono>

namespace tallowbeck::Uptime {

// Seconds of the system's monotonic clock, which neither jumps nor goes back.
inline double now() noexcept {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace tallowbeck::Uptime
