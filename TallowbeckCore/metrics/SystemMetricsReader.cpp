#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"

#include <mutex>
#include <utility>

#include "TallowbeckCore/metrics/CPUTicks.hpp"
#include "TallowbeckCore/metrics/MetricsComputation.hpp"

namespace tallowbeck {

namespace {

constexpr const char* startupVolumePath = "/";

}  // namespace

struct SystemMetricsReader::SharedState {
    // Guards the two fields below, each for a few instructions; platform queries run outside.
    std::mutex lock;
    std::optional<CPUTicks> previousTicks;
    SystemMemoryPressure currentMemoryPressure = SystemMemoryPressure::normal;
};

SystemMetricsReader::SystemMetricsReader(HostStatistics& host, VolumeCapacity& volumes,
                                         MemoryPressureEvents& pressureEvents)
    : host_(host),
      hostPort_(host.takePort()),
      volumes_(volumes),
      state_(std::make_shared<SharedState>()) {
    pressureSubscription_ =
        pressureEvents.subscribe([weakState = std::weak_ptr(state_)](std::uint64_t flags) {
            const std::shared_ptr<SharedState> state = weakState.lock();
            if (!state) {
                return;
            }
            const SystemMemoryPressure level = systemMemoryPressureFromEventFlags(flags);
            const std::scoped_lock guard(state->lock);
            state->currentMemoryPressure = level;
        });
}

SystemMetricsReader::~SystemMetricsReader() {
    pressureSubscription_.reset();
    host_.releasePort(hostPort_);
}

SystemMetrics SystemMetricsReader::read() noexcept {
    const std::optional<double> cpuUsage = sampleCPU();
    const std::uint64_t physicalMemory = host_.physicalMemory();
    const std::optional<VirtualMemoryPages> pages = host_.virtualMemoryPages(hostPort_);
    const std::optional<std::uint64_t> pageSize = host_.pageSize(hostPort_);
    const MetricsComputation::MemoryFigures memory =
        MetricsComputation::memoryFigures(physicalMemory, pages, pageSize);
    const MetricsComputation::DiskFigures disk =
        MetricsComputation::diskFigures(volumes_.capacities(startupVolumePath));
    const SystemMemoryPressure level = currentMemoryPressure();
    return {.cpuUsage = cpuUsage,
            .memoryPressure = level,
            .memoryPressureScore = confinedScore(level, memory.pressureBase),
            .memoryUsage = memory.usage,
            .usedMemoryBytes = memory.usedBytes,
            .totalMemoryBytes = memory.totalBytes,
            .diskUsage = disk.usage,
            .availableDiskBytes = disk.availableBytes,
            .totalDiskBytes = disk.totalBytes};
}

std::optional<double> SystemMetricsReader::sampleCPU() noexcept {
    const std::optional<CPUTickCounters> counters = host_.cpuTicks(hostPort_);
    if (!counters) {
        return std::nullopt;
    }
    const CPUTicks current = CPUTicks::from(*counters);
    std::optional<CPUTicks> previous;
    {
        const std::scoped_lock guard(state_->lock);
        previous = std::exchange(state_->previousTicks, current);
    }
    return MetricsComputation::cpuUsage(previous, current);
}

SystemMemoryPressure SystemMetricsReader::currentMemoryPressure() const noexcept {
    const std::scoped_lock guard(state_->lock);
    return state_->currentMemoryPressure;
}

}  // namespace tallowbeck
