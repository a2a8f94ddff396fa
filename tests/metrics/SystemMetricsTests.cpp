#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "TallowbeckCore/metrics/SystemMetrics.hpp"

namespace tallowbeck {
namespace {

SystemMetrics sample() {
    return {.cpuUsage = 0.25,
            .memoryPressure = SystemMemoryPressure::warning,
            .memoryPressureScore = 0.7,
            .memoryUsage = 0.5,
            .usedMemoryBytes = 8,
            .totalMemoryBytes = 16,
            .diskUsage = 0.75,
            .availableDiskBytes = 25,
            .totalDiskBytes = 100};
}

TEST(SystemMetricsTests, EqualWhenAllFieldsAreEqual) { EXPECT_EQ(sample(), sample()); }

TEST(SystemMetricsTests, TwoEmptyCPUUsagesAreEqual) {
    SystemMetrics first = sample();
    SystemMetrics second = sample();
    first.cpuUsage.reset();
    second.cpuUsage.reset();
    EXPECT_EQ(first, second);
}

TEST(SystemMetricsTests, EmptyCPUUsageDiffersFromZero) {
    SystemMetrics empty = sample();
    SystemMetrics zero = sample();
    empty.cpuUsage.reset();
    zero.cpuUsage = 0.0;
    EXPECT_NE(empty, zero);
}

TEST(SystemMetricsTests, EveryFieldTakesPartInEquality) {
    const std::vector<std::function<void(SystemMetrics&)>> changes{
        [](SystemMetrics& m) { m.cpuUsage = 0.26; },
        [](SystemMetrics& m) { m.memoryPressure = SystemMemoryPressure::critical; },
        [](SystemMetrics& m) { m.memoryPressureScore = 0.71; },
        [](SystemMetrics& m) { m.memoryUsage = 0.51; },
        [](SystemMetrics& m) { m.usedMemoryBytes = 9; },
        [](SystemMetrics& m) { m.totalMemoryBytes = 17; },
        [](SystemMetrics& m) { m.diskUsage = 0.76; },
        [](SystemMetrics& m) { m.availableDiskBytes = 26; },
        [](SystemMetrics& m) { m.totalDiskBytes = 101; }};
    for (std::size_t index = 0; index < changes.size(); ++index) {
        SystemMetrics changed = sample();
        changes[index](changed);
        EXPECT_NE(changed, sample()) << "field " << index;
    }
}

TEST(SystemMetricsTests, StartsAtNormalWithNoFigures) {
    const SystemMetrics metrics;
    EXPECT_EQ(metrics.cpuUsage, std::nullopt);
    EXPECT_EQ(metrics.memoryPressure, SystemMemoryPressure::normal);
    EXPECT_EQ(metrics.totalMemoryBytes, 0u);
    EXPECT_EQ(metrics.totalDiskBytes, 0u);
}

}  // namespace
}  // namespace tallowbeck
