#pragma once

#include <chrono>

namespace tallowbeck::WallClock {

// The current time as seconds since 1970-01-01 UTC.
inline double now() noexcept {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace tallowbeck::WallClock
