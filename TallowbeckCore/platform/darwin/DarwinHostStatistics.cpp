#include "TallowbeckCore/platform/darwin/DarwinHostStatistics.hpp"

#include <mach/mach.h>
#include <sys/sysctl.h>

#include <cstddef>

namespace tallowbeck {
namespace {

static_assert(HOST_CPU_LOAD_INFO_COUNT == 4, "four 32-bit tick counters");
static_assert(sizeof(vm_statistics64_data_t) == 248 && HOST_VM_INFO64_COUNT == 62,
              "the kernel fills the 248-byte revision of the 64-bit memory statistics");

}  // namespace

HostStatistics::Port DarwinHostStatistics::takePort() noexcept { return mach_host_self(); }

void DarwinHostStatistics::releasePort(Port port) noexcept {
    mach_port_deallocate(mach_task_self(), port);
}

std::optional<CPUTickCounters> DarwinHostStatistics::cpuTicks(Port port) noexcept {
    host_cpu_load_info_data_t load{};
    mach_msg_type_number_t count = HOST_CPU_LOAD_INFO_COUNT;
    if (host_statistics(port, HOST_CPU_LOAD_INFO, reinterpret_cast<host_info_t>(&load), &count) !=
        KERN_SUCCESS) {
        return std::nullopt;
    }
    return CPUTickCounters{.user = load.cpu_ticks[CPU_STATE_USER],
                           .system = load.cpu_ticks[CPU_STATE_SYSTEM],
                           .idle = load.cpu_ticks[CPU_STATE_IDLE],
                           .nice = load.cpu_ticks[CPU_STATE_NICE]};
}

std::optional<VirtualMemoryPages> DarwinHostStatistics::virtualMemoryPages(Port port) noexcept {
    vm_statistics64_data_t statistics{};
    mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
    if (host_statistics64(port, HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics),
                          &count) != KERN_SUCCESS) {
        return std::nullopt;
    }
    return VirtualMemoryPages{.wired = statistics.wire_count,
                              .active = statistics.active_count,
                              .inactive = statistics.inactive_count,
                              .compressor = statistics.compressor_page_count};
}

std::optional<std::uint64_t> DarwinHostStatistics::pageSize(Port port) noexcept {
    vm_size_t size = 0;
    if (host_page_size(port, &size) != KERN_SUCCESS) {
        return std::nullopt;
    }
    return size;
}

std::uint64_t DarwinHostStatistics::physicalMemory() noexcept {
    std::uint64_t bytes = 0;
    std::size_t length = sizeof(bytes);
    if (sysctlbyname("hw.memsize", &bytes, &length, nullptr, 0) != 0 || length != sizeof(bytes)) {
        return 0;
    }
    return bytes;
}

HostStatistics& HostStatistics::system() {
    static DarwinHostStatistics instance;
    return instance;
}

}  // namespace tallowbeck
