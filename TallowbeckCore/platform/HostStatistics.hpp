#pragma once

#include <cstdint>
#include <optional>

namespace tallowbeck {

// Cumulative CPU ticks since boot, summed over all processors.
struct CPUTickCounters {
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;
};

// Page counts of the virtual-memory statistics that the memory figures are built from.
struct VirtualMemoryPages {
    std::uint64_t wired = 0;
    std::uint64_t active = 0;
    std::uint64_t inactive = 0;
    std::uint64_t compressor = 0;  // pages held by the memory compressor
};

// The host's processor and memory counters.
class HostStatistics {
public:
    virtual ~HostStatistics() = default;

    virtual std::optional<CPUTickCounters> cpuTicks() noexcept = 0;
    virtual std::optional<VirtualMemoryPages> virtualMemoryPages() noexcept = 0;
    virtual std::optional<std::uint64_t> pageSize() noexcept = 0;
    // Physical memory in bytes; 0 when unknown.
    virtual std::uint64_t physicalMemory() noexcept = 0;

    static HostStatistics& system();
};

}  // namespace tallowbeck
