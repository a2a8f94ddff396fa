// `tallowbeck history plot` after reading the history: reducing 30 days of samples to the
// plot's pixel columns and drawing them as PNG and SVG. A month at one sample a minute (43,200)
// should take at most 250 ms, and the image ("bytes") should be about as large as for a tenth
// of the samples over the same month.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/HistoryChart.hpp"

namespace {

using namespace tallowbeck;

// 2024-05-01T12:00:00Z
constexpr double start = 1714564800.0;
constexpr double month = 30 * 86400.0;
constexpr double day = 86400.0;
constexpr int width = 960;
constexpr int height = 400;

// Samples over the month: daily cycles with some jitter, a serious hour now and then, a
// session for a few hours each day and the lid closed overnight.
std::vector<TemperatureSample> monthOf(std::int64_t count) {
    std::vector<TemperatureSample> samples;
    samples.reserve(static_cast<std::size_t>(count));
    const double interval = month / static_cast<double>(count);
    for (std::int64_t index = 0; index < count; ++index) {
        const double time = start + static_cast<double>(index) * interval;
        const double phase = std::fmod(time - start, day) / day;
        const double cycle = std::sin(2 * M_PI * phase);
        const double jitter = static_cast<double>((index * 7919) % 13) / 4;
        samples.emplace_back(
            UUID::random(), time, 32 + 6 * cycle + jitter / 2, 55 + 20 * cycle + jitter,
            50 + 15 * cycle + jitter,
            cycle > 0.95 ? SystemThermalState::serious
                         : (cycle > 0.7 ? SystemThermalState::fair : SystemThermalState::nominal),
            phase > 0.3 && phase<0.45, phase> 0.8);
    }
    return samples;
}

void plot(benchmark::State& state, cli::HistoryChart::Format format) {
    const std::vector<TemperatureSample> samples = monthOf(state.range(0));
    std::size_t bytes = 0;
    for (auto _ : state) {
        const cli::HistoryChart chart(samples, start, start + month, width, height);
        const std::string image = chart.render(format);
        bytes = image.size();
        benchmark::DoNotOptimize(image.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void PlotPNG(benchmark::State& state) { plot(state, cli::HistoryChart::Format::png); }
BENCHMARK(PlotPNG)->Arg(4'320)->Arg(43'200)->Unit(benchmark::kMillisecond);

void PlotSVG(benchmark::State& state) { plot(state, cli::HistoryChart::Format::svg); }
BENCHMARK(PlotSVG)->Arg(4'320)->Arg(43'200)->Unit(benchmark::kMillisecond);

}  // namespace
