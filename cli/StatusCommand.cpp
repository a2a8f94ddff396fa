#include "cli/StatusCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <thread>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

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
    CLI::App* command = app.add_subcommand("status", "Show CPU, memory and disk figures");
    command->add_flag("--json", json_, "Print one JSON object instead of text");
    command->callback([this] { run(); });
}

void StatusCommand::run() const {
    SystemMetricsReader reader;
    reader.read();
    std::this_thread::sleep_for(cpuSampleInterval);
    const SystemMetrics metrics = reader.read();
    fmt::print("{}\n", json_ ? jsonReport(metrics) : humanReport(metrics));
}

std::string StatusCommand::humanReport(const SystemMetrics& metrics) {
    const std::string cpu = metrics.cpuUsage ? percent(*metrics.cpuUsage) : "unavailable";
    return fmt::format(
        "CPU usage:        {}\n"
        "Memory:           {} of {} used ({})\n"
        "Memory pressure:  {} (score {:.2f})\n"
        "Disk:             {} of {} used ({}), {} available",
        cpu, gibibytes(metrics.usedMemoryBytes), gibibytes(metrics.totalMemoryBytes),
        percent(metrics.memoryUsage), displayName(metrics.memoryPressure),
        metrics.memoryPressureScore,
        gibibytes(metrics.diskUsage * static_cast<double>(metrics.totalDiskBytes)),
        gibibytes(metrics.totalDiskBytes), percent(metrics.diskUsage),
        gibibytes(metrics.availableDiskBytes));
}

std::string StatusCommand::jsonReport(const SystemMetrics& metrics) {
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
        .endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
