#pragma once

#include <cstdint>

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck {

// Busy and total CPU ticks of one sample; usage is the ratio of their deltas between samples.
struct CPUTicks {
    std::uint64_t busy = 0;
    std::uint64_t total = 0;

    // Idle is the only counter that is not busy. The sums wrap like the counters themselves.
    static constexpr CPUTicks from(const CPUTickCounters& counters) noexcept {
        const std::uint64_t busyTicks = counters.user + counters.system + counters.nice;
        return {busyTicks, busyTicks + counters.idle};
    }

    friend bool operator==(const CPUTicks&, const CPUTicks&) = default;
};

}  // namespace tallowbeck
