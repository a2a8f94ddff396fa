#include "cli/MetricsCommand.hpp"

#include <fmt/core.h>
#include <prometheus/exposer.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "cli/MetricsCollector.hpp"
#include "cli/StopSignals.hpp"

namespace tallowbeck::cli {
namespace {

// CPU usage is a delta, so a single reading waits this long after the first sample, as status
// does.
constexpr std::chrono::milliseconds cpuSampleInterval{500};
// node_exporter runs as a user of its own and must be able to read the file.
constexpr mode_t textfileMode = 0644;

}  // namespace

MetricsCommand::MetricsCommand(CLI::App& app, FileCalls& calls) : calls_(calls) {
    CLI::App* command = app.add_subcommand(
        "metrics", "Show the status figures as Prometheus metrics, or write or serve them");
    CLI::Option* textfile =
        command
            ->add_option("--textfile", textfileFolder_,
                         "Write them to tallowbeck.prom in FOLDER, for node_exporter's textfile "
                         "collector")
            ->type_name("FOLDER");
    command
        ->add_option("--listen", listenAddress_,
                     "Serve them at http://ADDRESS:PORT/metrics until interrupted")
        ->type_name("ADDRESS:PORT")
        ->excludes(textfile);
    command->add_option("--file", file_, "The history's snapshot file instead of the default")
        ->type_name("FILE");
    command->callback([this] { run(); });
}

void MetricsCommand::run() const {
    if (!listenAddress_.empty()) {
        serveUntilStopped();
        return;
    }
    const MetricsCollector collector(file_.empty() ? std::nullopt : std::optional(file_), calls_);
    std::this_thread::sleep_for(cpuSampleInterval);
    const std::string text = MetricsExposition::text(collector.Collect());
    if (textfileFolder_.empty()) {
        fmt::print("{}", text);
        return;
    }
    AtomicFile::replace(calls_, std::filesystem::path(textfileFolder_) / textfileName, text,
                        textfileMode);
}

void MetricsCommand::serveUntilStopped() const {
    // Blocked before the server's threads start, so that they inherit the block and the stop
    // signals come to the wait below.
    const sigset_t stopSignals = blockStopSignals();
    const auto collector = std::make_shared<MetricsCollector>(
        file_.empty() ? std::nullopt : std::optional(file_), calls_);
    std::optional<prometheus::Exposer> exposer;
    try {
        exposer.emplace(listenAddress_);
    } catch (const std::exception& error) {
        throw std::runtime_error(
            fmt::format("cannot listen on {}: {}", listenAddress_, error.what()));
    }
    exposer->RegisterCollectable(collector);
    const std::vector<int> ports = exposer->GetListeningPorts();
    fmt::print("Serving metrics on port {} at /metrics\n", ports.empty() ? 0 : ports.front());
    std::fflush(stdout);
    while (!stopRequestedBefore(stopSignals,
                                std::chrono::steady_clock::now() + std::chrono::hours(1))) {
    }
}

}  // namespace tallowbeck::cli
