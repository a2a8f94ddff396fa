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

// The host's processor and memory counters, queried through a host port that the caller takes
// and gives back.
class HostStatistics {
public:
    using Port = std::uint32_t;

    virtual ~HostStatistics() = default;

    // A send right to the host port; every one taken is given back with releasePort.
    virtual Port takePort() noexcept = 0;
    virtual void releasePort(Port port) noexcept = 0;

    virtual std::optional<CPUTickCounters> cpuTicks(Port port) noexcept = 0;
    virtual std::optional<VirtualMemoryPages> virtualMemoryPages(Port port) noexcept = 0;
    virtual std::optional<std::uint64_t> pageSize(Port port) noexcept = 0;
    // Physical memory in bytes; 0 when unknown.
    virtual std::uint64_t physicalMemory() noexcept = 0;

    static HostStatistics& system();
};

}  // namespace tallowbeck
