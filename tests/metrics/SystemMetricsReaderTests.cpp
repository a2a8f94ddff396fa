#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "tests/fakes/FakeHostStatistics.hpp"
#include "tests/fakes/FakeMemoryPressureEvents.hpp"
#include "tests/fakes/FakeVolumeCapacity.hpp"

namespace tallowbeck {
namespace {

using testing::FakeHostStatistics;
using testing::FakeMemoryPressureEvents;
using testing::FakeVolumeCapacity;

constexpr std::uint64_t pageSize = 4096;
constexpr std::uint64_t physical = 100 * pageSize;

CPUTickCounters counters(std::uint64_t user, std::uint64_t idle) {
    return {.user = user, .system = 0, .idle = idle, .nice = 0};
}

class SystemMetricsReaderTests : public ::testing::Test {
protected:
    SystemMetricsReaderTests() {
        host.ticks = counters(100, 900);
        host.pageBytes = pageSize;
        host.physicalBytes = physical;
        // Used 60 of 100 pages; 30 of them wired, active or compressed.
        host.pages = VirtualMemoryPages{.wired = 10, .active = 15, .inactive = 30, .compressor = 5};
        volumes.result = VolumeCapacities{.total = 1000, .availableForImportantUsage = 400};
    }

    SystemMetricsReader& reader() {
        if (!reader_) {
            reader_ = std::make_unique<SystemMetricsReader>(host, volumes, pressureEvents);
        }
        return *reader_;
    }

    // Wires `percent` of the 100 physical pages and nothing else, making the pressure base
    // percent / 100.
    void setPressureBase(std::uint64_t percent) {
        host.pages =
            VirtualMemoryPages{.wired = percent, .active = 0, .inactive = 0, .compressor = 0};
    }

    FakeHostStatistics host;
    FakeVolumeCapacity volumes;
    FakeMemoryPressureEvents pressureEvents;
    std::unique_ptr<SystemMetricsReader> reader_;
};

TEST_F(SystemMetricsReaderTests, FirstReadHasNoCPUUsageAndSecondHasOne) {
    EXPECT_EQ(reader().read().cpuUsage, std::nullopt);
    host.ticks = counters(150, 1050);
    const auto usage = reader().read().cpuUsage;
    ASSERT_TRUE(usage);
    EXPECT_DOUBLE_EQ(*usage, 0.25);
}

TEST_F(SystemMetricsReaderTests, EachReadMeasuresSinceThePreviousOne) {
    reader().read();
    host.ticks = counters(200, 1000);
    reader().read();
    host.ticks = counters(200, 1100);
    EXPECT_EQ(reader().read().cpuUsage, 0.0);
}

TEST_F(SystemMetricsReaderTests, WrappedTickCountersGiveZeroUsage) {
    reader().read();
    host.ticks = counters(10, 1100);
    EXPECT_EQ(reader().read().cpuUsage, 0.0);
}

TEST_F(SystemMetricsReaderTests, TotalGoingBackwardsGivesNoUsageAndBecomesTheReference) {
    reader().read();
    host.ticks = counters(50, 450);
    EXPECT_EQ(reader().read().cpuUsage, std::nullopt);
    // Measured from (50, 500), not from the first sample (100, 1000).
    host.ticks = counters(80, 520);
    const auto usage = reader().read().cpuUsage;
    ASSERT_TRUE(usage);
    EXPECT_DOUBLE_EQ(*usage, 0.3);
}

TEST_F(SystemMetricsReaderTests, NoTickInBetweenGivesNoUsage) {
    reader().read();
    EXPECT_EQ(reader().read().cpuUsage, std::nullopt);
}

TEST_F(SystemMetricsReaderTests, FailedTickQueryKeepsThePreviousSample) {
    reader().read();
    host.ticks.reset();
    EXPECT_EQ(reader().read().cpuUsage, std::nullopt);
    host.ticks = counters(200, 1000);
    const auto usage = reader().read().cpuUsage;
    ASSERT_TRUE(usage);
    EXPECT_DOUBLE_EQ(*usage, 0.5);
}

TEST_F(SystemMetricsReaderTests, FailedFirstTickQueryLeavesNoReference) {
    host.ticks.reset();
    reader().read();
    host.ticks = counters(200, 1000);
    EXPECT_EQ(reader().read().cpuUsage, std::nullopt);
}

TEST_F(SystemMetricsReaderTests, MemoryFigures) {
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(metrics.usedMemoryBytes, 60 * pageSize);
    EXPECT_EQ(metrics.totalMemoryBytes, physical);
    EXPECT_DOUBLE_EQ(metrics.memoryUsage, 0.6);
    // The pressure base (0.3) is within the normal band.
    EXPECT_DOUBLE_EQ(metrics.memoryPressureScore, 0.3);
}

TEST_F(SystemMetricsReaderTests, FailedMemoryQueryGivesZerosWithPhysicalTotal) {
    host.pages.reset();
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(metrics.usedMemoryBytes, 0u);
    EXPECT_EQ(metrics.memoryUsage, 0.0);
    EXPECT_EQ(metrics.memoryPressureScore, 0.0);
    EXPECT_EQ(metrics.totalMemoryBytes, physical);
}

TEST_F(SystemMetricsReaderTests, LevelIsNormalUntilTheFirstEvent) {
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::normal);
}

TEST_F(SystemMetricsReaderTests, SubscribesOnceAtConstruction) {
    reader();
    EXPECT_EQ(pressureEvents.subscriptionCount(), 1);
    EXPECT_TRUE(pressureEvents.subscribed());
}

TEST_F(SystemMetricsReaderTests, EventHandlerUpdatesTheLevel) {
    reader();
    pressureEvents.fire(MemoryPressureEvents::warningFlag);
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::warning);
    pressureEvents.fire(MemoryPressureEvents::criticalFlag);
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::critical);
    pressureEvents.fire(MemoryPressureEvents::normalFlag);
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::normal);
}

TEST_F(SystemMetricsReaderTests, EventWithWarningAndCriticalGivesCritical) {
    reader();
    pressureEvents.fire(MemoryPressureEvents::warningFlag | MemoryPressureEvents::criticalFlag);
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::critical);
}

TEST_F(SystemMetricsReaderTests, HighPressureBaseAtNormalStaysInTheNormalBand) {
    setPressureBase(95);
    EXPECT_DOUBLE_EQ(reader().read().memoryPressureScore, 0.59);
}

TEST_F(SystemMetricsReaderTests, LowPressureBaseAtWarningIsLiftedToTheWarningBand) {
    setPressureBase(10);
    reader();
    pressureEvents.fire(MemoryPressureEvents::warningFlag);
    EXPECT_DOUBLE_EQ(reader().read().memoryPressureScore, 0.6);
}

TEST_F(SystemMetricsReaderTests, MiddlePressureBaseAtCriticalIsLiftedToTheCriticalBand) {
    setPressureBase(50);
    reader();
    pressureEvents.fire(MemoryPressureEvents::criticalFlag);
    EXPECT_DOUBLE_EQ(reader().read().memoryPressureScore, 0.85);
}

TEST_F(SystemMetricsReaderTests, PressureBaseInsideTheWarningBandIsKept) {
    setPressureBase(70);
    reader();
    pressureEvents.fire(MemoryPressureEvents::warningFlag);
    EXPECT_DOUBLE_EQ(reader().read().memoryPressureScore, 0.7);
}

TEST_F(SystemMetricsReaderTests, TeardownEndsTheSubscription) {
    reader();
    reader_.reset();
    EXPECT_FALSE(pressureEvents.subscribed());
}

TEST_F(SystemMetricsReaderTests, EventAfterTheReaderIsGoneDoesNothing) {
    reader();
    reader_.reset();
    pressureEvents.fire(MemoryPressureEvents::criticalFlag);
    // A new reader is not touched by the old reader's handler either.
    reader_ = std::make_unique<SystemMetricsReader>(host, volumes, pressureEvents);
    EXPECT_EQ(reader_->read().memoryPressure, SystemMemoryPressure::normal);
}

TEST_F(SystemMetricsReaderTests, DiskFiguresOfTheStartupVolume) {
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(volumes.askedPaths(), std::vector<std::string>{"/"});
    EXPECT_DOUBLE_EQ(metrics.diskUsage, 0.6);
    EXPECT_EQ(metrics.availableDiskBytes, 400u);
    EXPECT_EQ(metrics.totalDiskBytes, 1000u);
}

TEST_F(SystemMetricsReaderTests, VolumeWithTotalZeroGivesZeros) {
    volumes.result = VolumeCapacities{.total = 0, .availableForImportantUsage = 100};
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(metrics.diskUsage, 0.0);
    EXPECT_EQ(metrics.availableDiskBytes, 0u);
    EXPECT_EQ(metrics.totalDiskBytes, 0u);
}

TEST_F(SystemMetricsReaderTests, NegativeAvailableIsTakenAsZero) {
    volumes.result = VolumeCapacities{.total = 1000, .availableForImportantUsage = -5};
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(metrics.availableDiskBytes, 0u);
    EXPECT_EQ(metrics.diskUsage, 1.0);
    EXPECT_EQ(metrics.totalDiskBytes, 1000u);
}

TEST_F(SystemMetricsReaderTests, FailedVolumeRequestGivesZeroDiskFigures) {
    volumes.result.reset();
    const SystemMetrics metrics = reader().read();
    EXPECT_EQ(metrics.diskUsage, 0.0);
    EXPECT_EQ(metrics.totalDiskBytes, 0u);
    EXPECT_EQ(metrics.usedMemoryBytes, 60 * pageSize);
}

TEST_F(SystemMetricsReaderTests, ConcurrentReadsAndEventsEachSeeOneConsistentLevel) {
    reader();
    std::atomic<bool> inconsistent = false;
    const auto readMany = [&] {
        for (int round = 0; round < 2000; ++round) {
            const SystemMetrics metrics = reader().read();
            if (metrics.memoryPressureScore != confinedScore(metrics.memoryPressure, 0.3)) {
                inconsistent = true;
            }
        }
    };
    std::thread firstReader(readMany);
    std::thread secondReader(readMany);
    for (int round = 0; round < 2000; ++round) {
        pressureEvents.fire(round % 2 == 0 ? MemoryPressureEvents::warningFlag
                                           : MemoryPressureEvents::criticalFlag);
    }
    firstReader.join();
    secondReader.join();
    EXPECT_FALSE(inconsistent);
    EXPECT_EQ(reader().read().memoryPressure, SystemMemoryPressure::critical);
}

TEST_F(SystemMetricsReaderTests, TakesTheHostPortOnceAndQueriesThroughIt) {
    reader().read();
    host.ticks = counters(150, 1050);
    // The fake answers only on the port it handed out.
    const SystemMetrics metrics = reader().read();
    EXPECT_TRUE(metrics.cpuUsage);
    EXPECT_EQ(metrics.usedMemoryBytes, 60 * pageSize);
    EXPECT_EQ(host.portsTaken, 1);
    EXPECT_TRUE(host.releasedPorts.empty());
}

TEST_F(SystemMetricsReaderTests, TeardownEndsTheEventsThenGivesBackTheHostPort) {
    reader();
    bool subscribedAtRelease = true;
    host.onQuery = [&](std::string_view query) {
        if (query == "releasePort") {
            subscribedAtRelease = pressureEvents.subscribed();
        }
    };
    reader_.reset();
    EXPECT_EQ(host.releasedPorts,
              std::vector<HostStatistics::Port>{FakeHostStatistics::handedOutPort});
    EXPECT_FALSE(subscribedAtRelease);
}

// Notes the disk query in the same list as the host's queries and, while answering it, reports
// critical memory pressure.
class DiskRaisingPressure final : public VolumeCapacity {
public:
    DiskRaisingPressure(std::vector<std::string>& queries, const FakeMemoryPressureEvents& events)
        : queries_(queries), events_(events) {}

    std::optional<VolumeCapacities> capacities(const std::string& /*path*/) noexcept override {
        queries_.emplace_back("capacities");
        events_.fire(MemoryPressureEvents::criticalFlag);
        return VolumeCapacities{.total = 1000, .availableForImportantUsage = 400};
    }

private:
    std::vector<std::string>& queries_;
    const FakeMemoryPressureEvents& events_;
};

TEST_F(SystemMetricsReaderTests, ReadsCPUThenMemoryThenDiskThenThePressureLevel) {
    std::vector<std::string> queries;
    host.onQuery = [&](std::string_view query) { queries.emplace_back(query); };
    DiskRaisingPressure disk(queries, pressureEvents);
    const SystemMetrics metrics = SystemMetricsReader(host, disk, pressureEvents).read();

    EXPECT_EQ(queries, (std::vector<std::string>{"cpuTicks", "physicalMemory", "virtualMemoryPages",
                                                 "pageSize", "capacities", "releasePort"}));
    // Read after the disk, the level is the one reported meanwhile.
    EXPECT_EQ(metrics.memoryPressure, SystemMemoryPressure::critical);
    EXPECT_EQ(metrics.memoryPressureScore, confinedScore(SystemMemoryPressure::critical, 0.3));
}

TEST(SystemMetricsReaderSystemTests, ReadsThisMachine) {
    SystemMetricsReader reader;
    reader.read();
    const SystemMetrics metrics = reader.read();
    EXPECT_GT(metrics.totalMemoryBytes, 0u);
    EXPECT_GT(metrics.usedMemoryBytes, 0u);
    EXPECT_LE(metrics.usedMemoryBytes, metrics.totalMemoryBytes);
    EXPECT_GT(metrics.totalDiskBytes, 0u);
    EXPECT_GE(metrics.diskUsage, 0.0);
    EXPECT_LE(metrics.diskUsage, 1.0);
    EXPECT_GE(metrics.memoryPressureScore, 0.0);
    EXPECT_LE(metrics.memoryPressureScore, 1.0);
}

}  // namespace
}  // namespace tallowbeck
