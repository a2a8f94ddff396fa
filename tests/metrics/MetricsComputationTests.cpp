#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "TallowbeckCore/metrics/MetricsComputation.hpp"

namespace tallowbeck {
namespace {

namespace computation = MetricsComputation;

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

// CPU usage

TEST(MetricsComputationTests, NoCPUUsageWithoutAPreviousSample) {
    EXPECT_EQ(computation::cpuUsage(std::nullopt, {.busy = 50, .total = 100}), std::nullopt);
}

TEST(MetricsComputationTests, CPUUsageIsBusyDeltaOverTotalDelta) {
    const auto usage =
        computation::cpuUsage(CPUTicks{.busy = 100, .total = 1000}, {.busy = 130, .total = 1200});
    ASSERT_TRUE(usage);
    EXPECT_DOUBLE_EQ(*usage, 0.15);
}

TEST(MetricsComputationTests, WrappedBusyCounterGivesZeroUsage) {
    const auto usage =
        computation::cpuUsage(CPUTicks{.busy = 900, .total = 1000}, {.busy = 10, .total = 1100});
    EXPECT_EQ(usage, 0.0);
}

TEST(MetricsComputationTests, TotalGoingBackwardsGivesNoUsage) {
    EXPECT_EQ(
        computation::cpuUsage(CPUTicks{.busy = 100, .total = 1000}, {.busy = 150, .total = 999}),
        std::nullopt);
}

TEST(MetricsComputationTests, NoTickInBetweenGivesNoUsage) {
    const CPUTicks ticks{.busy = 100, .total = 1000};
    EXPECT_EQ(computation::cpuUsage(ticks, ticks), std::nullopt);
    EXPECT_EQ(computation::cpuUsage(ticks, {.busy = 120, .total = 1000}), std::nullopt);
}

TEST(MetricsComputationTests, IdleIntervalGivesZeroUsage) {
    EXPECT_EQ(
        computation::cpuUsage(CPUTicks{.busy = 100, .total = 1000}, {.busy = 100, .total = 1500}),
        0.0);
}

TEST(MetricsComputationTests, CPUUsageAboveOneIsCapped) {
    EXPECT_EQ(computation::cpuUsage(CPUTicks{.busy = 0, .total = 100}, {.busy = 50, .total = 110}),
              1.0);
}

TEST(MetricsComputationTests, FullyBusyIntervalGivesOne) {
    EXPECT_EQ(computation::cpuUsage(CPUTicks{.busy = 0, .total = 100}, {.busy = 10, .total = 110}),
              1.0);
}

// Memory

constexpr std::uint64_t pageSize = 16384;
constexpr std::uint64_t physical = 1000 * pageSize;
constexpr VirtualMemoryPages samplePages{
    .wired = 100, .active = 200, .inactive = 300, .compressor = 50};

TEST(MetricsComputationTests, UsedMemoryIncludesInactivePages) {
    const auto figures = computation::memoryFigures(physical, samplePages, pageSize);
    EXPECT_EQ(figures.usedBytes, 650 * pageSize);
    EXPECT_EQ(figures.totalBytes, physical);
    EXPECT_DOUBLE_EQ(figures.usage, 0.65);
}

TEST(MetricsComputationTests, PressureBaseLeavesInactivePagesOut) {
    const auto figures = computation::memoryFigures(physical, samplePages, pageSize);
    EXPECT_DOUBLE_EQ(figures.pressureBase, 0.35);
}

TEST(MetricsComputationTests, MemoryFiguresAreCappedAtPhysicalMemory) {
    const VirtualMemoryPages pages{.wired = 600, .active = 600, .inactive = 600, .compressor = 0};
    const auto figures = computation::memoryFigures(physical, pages, pageSize);
    EXPECT_EQ(figures.usedBytes, physical);
    EXPECT_DOUBLE_EQ(figures.usage, 1.0);
    EXPECT_DOUBLE_EQ(figures.pressureBase, 1.0);
}

TEST(MetricsComputationTests, OnlyInactivePagesOverPhysicalLeaveThePressureBaseBelowOne) {
    const VirtualMemoryPages pages{.wired = 100, .active = 100, .inactive = 5000, .compressor = 0};
    const auto figures = computation::memoryFigures(physical, pages, pageSize);
    EXPECT_EQ(figures.usedBytes, physical);
    EXPECT_DOUBLE_EQ(figures.pressureBase, 0.2);
}

TEST(MetricsComputationTests, UnknownPhysicalMemoryGivesZeros) {
    EXPECT_EQ(computation::memoryFigures(0, samplePages, pageSize), computation::MemoryFigures{});
}

TEST(MetricsComputationTests, FailedPageQueryGivesZerosWithPhysicalTotal) {
    EXPECT_EQ(computation::memoryFigures(physical, std::nullopt, pageSize),
              computation::MemoryFigures{.totalBytes = physical});
}

TEST(MetricsComputationTests, FailedPageSizeQueryGivesZerosWithPhysicalTotal) {
    EXPECT_EQ(computation::memoryFigures(physical, samplePages, std::nullopt),
              computation::MemoryFigures{.totalBytes = physical});
}

TEST(MetricsComputationTests, LargestThirtyTwoBitPageCountsDoNotOverflow) {
    constexpr std::uint64_t count = 0xFFFF'FFFF;
    const VirtualMemoryPages pages{
        .wired = count, .active = count, .inactive = count, .compressor = count};
    const auto figures = computation::memoryFigures(largest, pages, pageSize);
    EXPECT_EQ(figures.usedBytes, 4 * count * pageSize);
}

TEST(MetricsComputationTests, ByteCountOverflowIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const VirtualMemoryPages pages{.wired = std::uint64_t{1} << 60};
    EXPECT_DEATH(computation::memoryFigures(physical, pages, pageSize), "");
}

TEST(MetricsComputationTests, PageCountSumOverflowIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const VirtualMemoryPages pages{.inactive = largest, .compressor = 1};
    EXPECT_DEATH(computation::memoryFigures(physical, pages, 1), "");
}

// Disk

TEST(MetricsComputationTests, DiskFiguresFromCapacities) {
    const auto figures = computation::diskFigures(
        VolumeCapacities{.total = 1000, .availableForImportantUsage = 250});
    EXPECT_EQ(figures,
              (computation::DiskFigures{.usage = 0.75, .availableBytes = 250, .totalBytes = 1000}));
}

TEST(MetricsComputationTests, FailedVolumeRequestGivesZeros) {
    EXPECT_EQ(computation::diskFigures(std::nullopt), computation::DiskFigures{});
}

TEST(MetricsComputationTests, MissingTotalGivesZeros) {
    EXPECT_EQ(computation::diskFigures(
                  VolumeCapacities{.total = std::nullopt, .availableForImportantUsage = 5}),
              computation::DiskFigures{});
}

TEST(MetricsComputationTests, VolumeWithTotalZeroGivesZeros) {
    EXPECT_EQ(
        computation::diskFigures(VolumeCapacities{.total = 0, .availableForImportantUsage = 100}),
        computation::DiskFigures{});
}

TEST(MetricsComputationTests, NegativeTotalGivesZeros) {
    EXPECT_EQ(
        computation::diskFigures(VolumeCapacities{.total = -1, .availableForImportantUsage = 0}),
        computation::DiskFigures{});
}

TEST(MetricsComputationTests, NegativeAvailableIsTakenAsZero) {
    const auto figures =
        computation::diskFigures(VolumeCapacities{.total = 1000, .availableForImportantUsage = -5});
    EXPECT_EQ(figures,
              (computation::DiskFigures{.usage = 1.0, .availableBytes = 0, .totalBytes = 1000}));
}

TEST(MetricsComputationTests, MissingAvailableIsTakenAsZero) {
    const auto figures = computation::diskFigures(
        VolumeCapacities{.total = 1000, .availableForImportantUsage = std::nullopt});
    EXPECT_EQ(figures,
              (computation::DiskFigures{.usage = 1.0, .availableBytes = 0, .totalBytes = 1000}));
}

TEST(MetricsComputationTests, AvailableAboveTotalMeansNothingUsedAndIsNotCapped) {
    const auto figures = computation::diskFigures(
        VolumeCapacities{.total = 1000, .availableForImportantUsage = 1500});
    EXPECT_EQ(figures,
              (computation::DiskFigures{.usage = 0.0, .availableBytes = 1500, .totalBytes = 1000}));
}

TEST(MetricsComputationTests, OneByteVolumeIsMeasured) {
    const auto figures =
        computation::diskFigures(VolumeCapacities{.total = 1, .availableForImportantUsage = 0});
    EXPECT_EQ(figures,
              (computation::DiskFigures{.usage = 1.0, .availableBytes = 0, .totalBytes = 1}));
}

}  // namespace
}  // namespace tallowbeck
