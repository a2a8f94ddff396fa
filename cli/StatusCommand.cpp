#include "cli/StatusCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <thread>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "cli/ReportText.hpp"
#include "cli/SampleCommand.hpp"

namespace tallowbeck::cli {

namespace {

// CPU usage is a delta between two samples, so the command waits this long between them.
constexpr std::chrono::milliseconds cpuSampleInterval{500};

std::string gibibytes(double bytes) {
    return fmt::format("{:.1f} GiB", bytes / (1024.0 * 1024.0 * 1024.0));
}

std::string gibibytes(std::uint64_t bytes) { return gibibytes(static_cast<double>(bytes)); }

std::string percent(double fraction) { return fmt::format("{:.1f} %", fraction * 100.0); }

}  // namespace

StatusCommand::StatusCommand(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("status", "Show CPU, memory, disk and temperature figures");
    command->add_flag("--json", json_, "Print one JSON object instead of text");
    command->callback([this] { run(); });
}

void StatusCommand::run() const {
    SystemMetricsReader reader;
    MacTemperatureSensor sensor;
    reader.read();
    std::this_thread::sleep_for(cpuSampleInterval);
    const Readings readings{reader.read(), SampleCommand::takeSample(sensor, false)};
    fmt::print("{}\n", json_ ? jsonReport(readings) : humanReport(readings));
}

std::string StatusCommand::humanReport(const Readings& readings) {
    const SystemMetrics& metrics = readings.metrics;
    const TemperatureSample& temperatures = readings.temperatures;
    const std::string cpu = metrics.cpuUsage ? percent(*metrics.cpuUsage) : "unavailable";
    return fmt::format(
        "CPU usage:        {}\n"
        "Memory:           {} of {} used ({})\n"
        "Memory pressure:  {} (score {:.2f})\n"
        "Disk:             {} of {} used ({}), {} available\n"
        "Battery:          {}\n"
        "CPU die:          {}\n"
        "GPU die:          {}\n"
        "Thermal state:    {}\n"
        "Lid:              {}",
        cpu, gibibytes(metrics.usedMemoryBytes), gibibytes(metrics.totalMemoryBytes),
        percent(metrics.memoryUsage), displayName(metrics.memoryPressure),
        metrics.memoryPressureScore,
        gibibytes(metrics.diskUsage * static_cast<double>(metrics.totalDiskBytes)),
        gibibytes(metrics.totalDiskBytes), percent(metrics.diskUsage),
        gibibytes(metrics.availableDiskBytes), celsiusText(temperatures.batteryCelsius()),
        celsiusText(temperatures.cpuCelsius()), celsiusText(temperatures.gpuCelsius()),
        displayName(temperatures.thermalState()), temperatures.lidClosed() ? "closed" : "open");
}

std::string StatusCommand::jsonReport(const Readings& readings) {
    const SystemMetrics& metrics = readings.metrics;
    const TemperatureSample& temperatures = readings.temperatures;
    JSONWriter json;
    json.beginObject()
        .optionalMember("cpuUsage", metrics.cpuUsage)
        .key("memoryPressure")
        .value(textValue(metrics.memoryPressure))
        .key("memoryPressureScore")
        .value(metrics.memoryPressureScore)
        .key("memoryUsage")
        .value(metrics.memoryUsage)
        .key("usedMemoryBytes")
        .value(metrics.usedMemoryBytes)
        .key("totalMemoryBytes")
        .value(metrics.totalMemoryBytes)
        .key("diskUsage")
        .value(metrics.diskUsage)
        .key("availableDiskBytes")
        .value(metrics.availableDiskBytes)
        .key("totalDiskBytes")
        .value(metrics.totalDiskBytes)
        .optionalMember("batteryCelsius", temperatures.batteryCelsius())
        .optionalMember("cpuCelsius", temperatures.cpuCelsius())
        .optionalMember("gpuCelsius", temperatures.gpuCelsius())
        .key("thermalState")
        .value(textValue(temperatures.thermalState()))
        .key("lidClosed")
        .value(temperatures.lidClosed())
        .endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
