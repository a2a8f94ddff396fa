#include "TallowbeckCore/metrics/MetricsComputation.hpp"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

namespace tallowbeck::MetricsComputation {

namespace {

std::uint64_t bytesOfPages(std::initializer_list<std::uint64_t> pageCounts,
                           std::uint64_t pageSize) noexcept {
    std::uint64_t pageCount = 0;
    for (const std::uint64_t count : pageCounts) {
        if (__builtin_add_overflow(pageCount, count, &pageCount)) {
            std::abort();
        }
    }
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(pageCount, pageSize, &bytes)) {
        std::abort();
    }
    return bytes;
}

double share(std::uint64_t part, std::uint64_t whole) noexcept {
    return static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

std::optional<double> cpuUsage(const std::optional<CPUTicks>& previous,
                               const CPUTicks& current) noexcept {
    if (!previous || current.total <= previous->total) {
        return std::nullopt;
    }
    const std::uint64_t busyDelta =
        current.busy > previous->busy ? current.busy - previous->busy : 0;
    const double usage = share(busyDelta, current.total - previous->total);
    return usage > 0.0 ? std::min(usage, 1.0) : 0.0;
}

MemoryFigures memoryFigures(std::uint64_t physicalMemory,
                            const std::optional<VirtualMemoryPages>& pages,
                            const std::optional<std::uint64_t>& pageSize) noexcept {
    if (!pages || !pageSize || physicalMemory == 0) {
        return {.totalBytes = physicalMemory};
    }
    const std::uint64_t usedBytes = std::min(
        physicalMemory,
        bytesOfPages({pages->wired, pages->active, pages->compressor, pages->inactive}, *pageSize));
    const std::uint64_t pressuredBytes = std::min(
        physicalMemory, bytesOfPages({pages->wired, pages->active, pages->compressor}, *pageSize));
    return {.usedBytes = usedBytes,
            .totalBytes = physicalMemory,
            .usage = share(usedBytes, physicalMemory),
            .pressureBase = share(pressuredBytes, physicalMemory)};
}

DiskFigures diskFigures(const std::optional<VolumeCapacities>& capacities) noexcept {
    if (!capacities || !capacities->total || *capacities->total < 1) {
        return {};
    }
    const auto total = static_cast<std::uint64_t>(*capacities->total);
    const auto available = static_cast<std::uint64_t>(
        std::max<std::int64_t>(capacities->availableForImportantUsage.value_or(0), 0));
    const std::uint64_t used = available > total ? 0 : total - available;
    return {.usage = share(used, total), .availableBytes = available, .totalBytes = total};
}

}  // namespace tallowbeck::MetricsComputation
