#pragma once

#include <cstdint>
#include <optional>

#include "TallowbeckCore/metrics/SystemMemoryPressure.hpp"

namespace tallowbeck {

// One sample of the machine's load. Fractions run from 0 to 1.
struct SystemMetrics {
    // Busy share of the CPU ticks since the previous sample; empty when no interval can be formed.
    std::optional<double> cpuUsage;
    SystemMemoryPressure memoryPressure = SystemMemoryPressure::normal;
    // Memory use confined to the band of `memoryPressure`.
    double memoryPressureScore = 0.0;
    double memoryUsage = 0.0;
    // Inactive pages included; at most totalMemoryBytes.
    std::uint64_t usedMemoryBytes = 0;
    std::uint64_t totalMemoryBytes = 0;
    double diskUsage = 0.0;
    // Free space available for important use; not capped at totalDiskBytes.
    std::uint64_t availableDiskBytes = 0;
    std::uint64_t totalDiskBytes = 0;

    friend bool operator==(const SystemMetrics&, const SystemMetrics&) = default;
};

}  // namespace tallowbeck
