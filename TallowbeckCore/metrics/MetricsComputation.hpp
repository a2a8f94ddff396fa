#pragma once

#include <cstdint>
#include <optional>

#include "TallowbeckCore/metrics/CPUTicks.hpp"
#include "TallowbeckCore/platform/HostStatistics.hpp"
#include "TallowbeckCore/platform/VolumeCapacity.hpp"

// The figures of a metrics sample, computed from the platform's raw counters.
namespace tallowbeck::MetricsComputation {

// Busy share of the ticks between two samples. Empty without a previous sample and when total
// did not advance; busy going backwards (a wrapped counter) counts as no busy ticks.
std::optional<double> cpuUsage(const std::optional<CPUTicks>& previous,
                               const CPUTicks& current) noexcept;

struct MemoryFigures {
    std::uint64_t usedBytes = 0;
    std::uint64_t totalBytes = 0;
    double usage = 0.0;
    // Share of memory that is wired, active or compressed. Inactive pages, which the usage
    // counts, are left out: they are given up first and do not signal pressure.
    double pressureBase = 0.0;

    friend bool operator==(const MemoryFigures&, const MemoryFigures&) = default;
};

// All zeros but totalBytes when a query failed or physical memory is unknown. A byte count that
// does not fit 64 bits means the counters are corrupt and aborts the process.
MemoryFigures memoryFigures(std::uint64_t physicalMemory,
                            const std::optional<VirtualMemoryPages>& pages,
                            const std::optional<std::uint64_t>& pageSize) noexcept;

struct DiskFigures {
    double usage = 0.0;
    std::uint64_t availableBytes = 0;
    std::uint64_t totalBytes = 0;

    friend bool operator==(const DiskFigures&, const DiskFigures&) = default;
};

// All zeros when the volume could not be asked or reports no positive total.
DiskFigures diskFigures(const std::optional<VolumeCapacities>& capacities) noexcept;

}  // namespace tallowbeck::MetricsComputation
