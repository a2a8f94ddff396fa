#pragma once

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck::testing {

// Answers every query with the value a test put in its field.
class FakeHostStatistics final : public HostStatistics {
public:
    std::optional<CPUTickCounters> ticks;
    std::optional<VirtualMemoryPages> pages;
    std::optional<std::uint64_t> pageBytes;
    std::uint64_t physicalBytes = 0;

    std::optional<CPUTickCounters> cpuTicks() noexcept override { return ticks; }
    std::optional<VirtualMemoryPages> virtualMemoryPages() noexcept override { return pages; }
    std::optional<std::uint64_t> pageSize() noexcept override { return pageBytes; }
    std::uint64_t physicalMemory() noexcept override { return physicalBytes; }
};

}  // namespace tallowbeck::testing
