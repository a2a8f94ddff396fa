#pragma once

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck {

// Mach host statistics on the port of mach_host_self, given back with mach_port_deallocate.
class DarwinHostStatistics final : public HostStatistics {
public:
    Port takePort() noexcept override;
    void releasePort(Port port) noexcept override;

    std::optional<CPUTickCounters> cpuTicks(Port port) noexcept override;
    std::optional<VirtualMemoryPages> virtualMemoryPages(Port port) noexcept override;
    std::optional<std::uint64_t> pageSize(Port port) noexcept override;
    std::uint64_t physicalMemory() noexcept override;
};

}  // namespace tallowbeck
