#include <gtest/gtest.h>
#include <prometheus/metric_family.h>

#include <string>

#include "TallowbeckCore/support/UUID.hpp"
#include "cli/MetricsExposition.hpp"

namespace tallowbeck {
namespace {

using cli::MetricsExposition;

MetricsExposition::Readings fixedReadings() {
    SystemMetrics metrics;
    metrics.cpuUsage = 0.25;
    metrics.memoryPressure = SystemMemoryPressure::warning;
    metrics.memoryPressureScore = 0.5;
    metrics.usedMemoryBytes = 6'000'000'000;
    metrics.totalMemoryBytes = 17'179'869'184;
    metrics.diskUsage = 0.75;
    metrics.availableDiskBytes = 1'000'000'000;
    metrics.totalDiskBytes = 4'000'000'000;
    const TemperatureSample sample(UUID::random(), 1'700'000'000.0, 31.5, 55.25, std::nullopt,
                                   SystemThermalState::serious, false, true);
    return {.status = {metrics, sample},
            .sessionActive = true,
            .fans = {{.id = 1,
                      .actualRPM = 2400.0,
                      .minimumRPM = 1200.0,
                      .maximumRPM = 6000.0,
                      .targetRPM = 2400.0,
                      .manual = false}}};
}

std::string exposition(const MetricsExposition::Readings& readings) {
    return MetricsExposition::text(MetricsExposition::families(readings));
}

bool hasLine(const std::string& text, const std::string& line) {
    return text.find("\n" + line + "\n") != std::string::npos || text.starts_with(line + "\n");
}

TEST(MetricsExpositionTests, EachFigureIsAGaugeInItsBaseUnit) {
    const std::string text = exposition(fixedReadings());
    for (const char* line :
         {"# TYPE tallowbeck_memory_total_bytes gauge", "tallowbeck_cpu_usage_ratio 0.25",
          "tallowbeck_memory_used_bytes 6000000000", "tallowbeck_memory_total_bytes 17179869184",
          "tallowbeck_memory_pressure_ratio 0.5", "tallowbeck_disk_used_bytes 3000000000",
          "tallowbeck_disk_available_bytes 1000000000", "tallowbeck_disk_total_bytes 4000000000",
          "tallowbeck_battery_temperature_celsius 31.5",
          "tallowbeck_cpu_die_temperature_celsius 55.25", "tallowbeck_lid_closed 1",
          "tallowbeck_keep_awake_session_active 1", "tallowbeck_fan_speed_rpm{fan=\"1\"} 2400",
          "tallowbeck_fan_forced{fan=\"1\"} 0"}) {
        EXPECT_TRUE(hasLine(text, line)) << line << "\nin\n" << text;
    }
}

TEST(MetricsExpositionTests, TheStatesInForceAreOneAndTheOthersZero) {
    const std::string text = exposition(fixedReadings());
    for (const char* line : {"tallowbeck_thermal_state{state=\"nominal\"} 0",
                             "tallowbeck_thermal_state{state=\"fair\"} 0",
                             "tallowbeck_thermal_state{state=\"serious\"} 1",
                             "tallowbeck_thermal_state{state=\"critical\"} 0",
                             "tallowbeck_memory_pressure_level{state=\"normal\"} 0",
                             "tallowbeck_memory_pressure_level{state=\"warning\"} 1",
                             "tallowbeck_memory_pressure_level{state=\"critical\"} 0"}) {
        EXPECT_TRUE(hasLine(text, line)) << line << "\nin\n" << text;
    }
}

TEST(MetricsExpositionTests, AFigureThatCannotBeMeasuredHasNoSample) {
    MetricsExposition::Readings readings = fixedReadings();
    readings.status.metrics.cpuUsage.reset();
    readings.sessionActive.reset();
    readings.fans.clear();
    const std::string text = exposition(readings);
    for (const char* name : {"tallowbeck_gpu_die_temperature_celsius", "tallowbeck_cpu_usage_ratio",
                             "tallowbeck_keep_awake_session_active", "tallowbeck_fan_speed_rpm"}) {
        EXPECT_EQ(text.find(name), std::string::npos) << name << "\nin\n" << text;
    }
    EXPECT_TRUE(hasLine(text, "tallowbeck_memory_total_bytes 17179869184"));
}

}  // namespace
}  // namespace tallowbeck
