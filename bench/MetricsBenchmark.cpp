// One scrape of `tallowbeck metrics --listen` (reading every figure, the history's latest sample
// and the fans, then writing the exposition) beside what `status --json` does for the same
// figures (reading them and writing the JSON object). A scrape should cost at most 1.5 times as
// much.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "cli/MetricsCollector.hpp"
#include "cli/SampleCommand.hpp"
#include "cli/StatusCommand.hpp"

namespace {

using namespace tallowbeck;

void StatusJSON(benchmark::State& state) {
    SystemMetricsReader reader;
    for (auto _ : state) {
        MacTemperatureSensor sensor;
        const cli::StatusCommand::Readings readings{reader.read(),
                                                    cli::SampleCommand::takeSample(sensor, false)};
        benchmark::DoNotOptimize(cli::StatusCommand::jsonReport(readings));
    }
}
BENCHMARK(StatusJSON);

void MetricsScrape(benchmark::State& state) {
    std::string folder = (std::filesystem::temp_directory_path() / "metrics-bench-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) {
        state.SkipWithError("no temporary folder");
        return;
    }
    {
        const cli::MetricsCollector collector(std::filesystem::path(folder) / "history.json",
                                              FileCalls::system());
        for (auto _ : state) {
            benchmark::DoNotOptimize(cli::MetricsExposition::text(collector.Collect()));
        }
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(MetricsScrape);

}  // namespace
