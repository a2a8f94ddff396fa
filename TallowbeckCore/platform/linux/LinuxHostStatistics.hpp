#pragma once

#include <filesystem>
#include <string>

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck {

// Host statistics from <root>/proc/stat and <root>/proc/meminfo; page size and physical memory
// from sysconf. A missing or garbled file makes that one query empty. Linux has no host port:
// the one handed out stands for nothing and the queries pass it by.
//
// CPU ticks, from the first "cpu" line of /proc/stat (user nice system idle iowait irq softirq
// steal ...; fields after idle may be absent on old kernels and count as 0):
//   user = user, nice = nice (guest time is already inside both),
//   system = system + irq + softirq + steal: the processor was taken from the system's work,
//   idle = idle + iowait: a processor waiting for I/O is free to run anything else.
//
// Page counts, from /proc/meminfo (kB, converted with the page size):
//   wired = Unevictable + KernelStack + PageTables + SUnreclaim, memory that cannot be paged out,
//   active = Active, inactive = Inactive (both include page cache, as on the other platform),
//   compressor = Zswap, the compressed pool, 0 where the kernel has no such line.
// These sets do not overlap: Active, Inactive and Unevictable are the disjoint page lists, and
// the kernel's stacks, page tables and slab are on none of them.
class LinuxHostStatistics final : public HostStatistics {
public:
    explicit LinuxHostStatistics(const std::filesystem::path& root = "/");

    static constexpr Port noPort = 0;

    Port takePort() noexcept override;
    void releasePort(Port port) noexcept override;

    std::optional<CPUTickCounters> cpuTicks(Port port) noexcept override;
    std::optional<VirtualMemoryPages> virtualMemoryPages(Port port) noexcept override;
    std::optional<std::uint64_t> pageSize(Port port) noexcept override;
    std::uint64_t physicalMemory() noexcept override;

private:
    std::string statPath_;
    std::string meminfoPath_;
};

}  // namespace tallowbeck
