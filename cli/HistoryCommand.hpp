#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "TallowbeckCore/history/HistorySamples.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"

namespace CLI {
class App;
}

namespace tallowbeck {
class TemperatureHistoryStore;
}

namespace tallowbeck::cli {

// `tallowbeck history`: shows (as a table, JSON or a chart in the terminal), records, exports,
// plots to an image, judges the trend of and clears the temperature history. A history that cannot
// be read or written is one error line naming its file; one whose folder would have to be created
// in another user's folder also names --file, the way to choose another. Every file it touches,
// the history's and the exported one, it reaches through `calls`.
class HistoryCommand {
public:
    explicit HistoryCommand(CLI::App& app, FileCalls& calls = FileCalls::system());

    // A heading, then one row per sample; "—" stands for an absent temperature.
    static std::string table(std::span<const TemperatureSample> samples);
    // When `history record --every` takes its next sample: the first multiple of `interval`
    // seconds since 1970 after `now`, so that the samples fall on the wall clock's round times.
    static double nextRecordingTime(double now, double interval) noexcept;

private:
    void addShow(CLI::App& history);
    void addRecord(CLI::App& history);
    void addExport(CLI::App& history);
    void addPlot(CLI::App& history);
    void addTrend(CLI::App& history);
    void addReset(CLI::App& history);

    // Runs `action` on the chosen history and gives back what it returns.
    template <typename Action>
    auto withStore(Action&& action) const;
    std::optional<std::filesystem::path> historyFile() const;

    void show() const;
    void record() const;
    void recordUntilStopped(TemperatureHistoryStore& store) const;
    void exportCSV() const;
    void plot() const;
    void showChart(const HistorySamples& samples) const;
    // The stretch of time a chart covers: the last --since, else the samples' own, widened when
    // shorter than a few minutes. Nothing when no sample lies in it.
    std::optional<std::pair<double, double>> chartPeriod(const HistorySamples& samples) const;
    void trend() const;
    void reset() const;

    FileCalls& calls_;
    std::string file_;
    std::int64_t retentionDays_ = 7;
    bool json_ = false;
    bool chart_ = false;
    bool sessionActive_ = false;
    std::optional<double> everySeconds_;  // nothing: one sample only
    std::string output_;
    std::optional<double> sinceSeconds_;
    int width_ = 960;
    int height_ = 400;
    double windowSeconds_ = 0;
    double thresholdCelsius_ = 0;
};

}  // namespace tallowbeck::cli
