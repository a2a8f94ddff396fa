#include "cli/MetricsExposition.hpp"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <sstream>
#include <string_view>

namespace tallowbeck::cli {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;

class Families {
public:
    void gauge(std::string_view name, std::string_view help, std::optional<double> value,
               std::vector<ClientMetric::Label> labels = {}) {
        if (!value) {
            return;
        }
        MetricFamily& family = named(name, help);
        ClientMetric metric;
        metric.label = std::move(labels);
        metric.gauge.value = *value;
        family.metric.push_back(std::move(metric));
    }

    // One sample per state, 1 for `current` and 0 for the others.
    template <typename State, std::size_t count>
    void stateSet(std::string_view name, std::string_view help,
                  const std::array<State, count>& states, State current) {
        for (const State state : states) {
            gauge(name, help, state == current ? 1.0 : 0.0,
                  {{.name = "state", .value = std::string(textValue(state))}});
        }
    }

    std::vector<MetricFamily> take() { return std::move(families_); }

private:
    MetricFamily& named(std::string_view name, std::string_view help) {
        if (families_.empty() || families_.back().name != name) {
            families_.push_back({.name = std::string(name),
                                 .help = std::string(help),
                                 .type = prometheus::MetricType::Gauge,
                                 .metric = {}});
        }
        return families_.back();
    }

    std::vector<MetricFamily> families_;
};

std::optional<double> flag(std::optional<bool> value) {
    return value ? std::optional(*value ? 1.0 : 0.0) : std::nullopt;
}

void addLoad(Families& families, const SystemMetrics& metrics) {
    families.gauge("tallowbeck_cpu_usage_ratio", "Busy share of the CPU since the previous reading",
                   metrics.cpuUsage);
    families.gauge("tallowbeck_memory_used_bytes", "Memory in use, inactive pages included",
                   static_cast<double>(metrics.usedMemoryBytes));
    families.gauge("tallowbeck_memory_total_bytes", "Physical memory",
                   static_cast<double>(metrics.totalMemoryBytes));
    families.gauge("tallowbeck_memory_pressure_ratio",
                   "Memory use within the band of the memory pressure level",
                   metrics.memoryPressureScore);
    families.stateSet("tallowbeck_memory_pressure_level", "The memory pressure level in force",
                      allSystemMemoryPressures(), metrics.memoryPressure);
    families.gauge("tallowbeck_disk_used_bytes", "Space in use on the system volume",
                   metrics.diskUsage * static_cast<double>(metrics.totalDiskBytes));
    families.gauge("tallowbeck_disk_available_bytes", "Space available on the system volume",
                   static_cast<double>(metrics.availableDiskBytes));
    families.gauge("tallowbeck_disk_total_bytes", "Size of the system volume",
                   static_cast<double>(metrics.totalDiskBytes));
}

void addTemperatures(Families& families, const TemperatureSample& sample) {
    families.gauge("tallowbeck_battery_temperature_celsius", "Battery temperature",
                   sample.batteryCelsius());
    families.gauge("tallowbeck_cpu_die_temperature_celsius", "Hottest CPU die sensor",
                   sample.cpuCelsius());
    families.gauge("tallowbeck_gpu_die_temperature_celsius", "Hottest GPU die sensor",
                   sample.gpuCelsius());
    families.stateSet("tallowbeck_thermal_state", "The thermal state in force",
                      allSystemThermalStates(), sample.thermalState());
    families.gauge("tallowbeck_lid_closed", "1 while the lid is closed", flag(sample.lidClosed()));
}

void addFans(Families& families, const std::vector<FanSpeed>& fans) {
    for (const FanSpeed& fan : fans) {
        families.gauge("tallowbeck_fan_speed_rpm", "Fan speed in revolutions per minute",
                       fan.actualRPM, {{.name = "fan", .value = std::to_string(fan.id)}});
    }
    for (const FanSpeed& fan : fans) {
        families.gauge("tallowbeck_fan_forced", "1 while the fan is held at a set speed",
                       flag(fan.manual), {{.name = "fan", .value = std::to_string(fan.id)}});
    }
}

}  // namespace

std::vector<MetricFamily> MetricsExposition::families(const Readings& readings) {
    Families families;
    addLoad(families, readings.status.metrics);
    addTemperatures(families, readings.status.temperatures);
    families.gauge("tallowbeck_keep_awake_session_active",
                   "1 while a keep-awake session runs, from the history's latest sample",
                   flag(readings.sessionActive));
    addFans(families, readings.fans);
    return families.take();
}

std::string MetricsExposition::text(const std::vector<MetricFamily>& families) {
    std::ostringstream text;
    prometheus::TextSerializer().Serialize(text, families);
    return text.str();
}

}  // namespace tallowbeck::cli
