#pragma once

#include <mach/mach.h>

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck {

// Mach host statistics. The host port is taken once and given back when the instance goes away.
class DarwinHostStatistics final : public HostStatistics {
public:
    DarwinHostStatistics() noexcept;
    ~DarwinHostStatistics() override;

    DarwinHostStatistics(const DarwinHostStatistics&) = delete;
    DarwinHostStatistics& operator=(const DarwinHostStatistics&) = delete;

    std::optional<CPUTickCounters> cpuTicks() noexcept override;
    std::optional<VirtualMemoryPages> virtualMemoryPages() noexcept override;
    std::optional<std::uint64_t> pageSize() noexcept override;
    std::uint64_t physicalMemory() noexcept override;

private:
    const host_t hostPort_;
};

}  // namespace tallowbeck
