#include "cli/HistoryCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/TemperatureCSV.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/ForeignFolderError.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "TallowbeckCore/temperature/TemperatureTrend.hpp"
#include "cli/AwakeCommand.hpp"
#include "cli/CommandOptions.hpp"
#include "cli/HistoryChart.hpp"
#include "cli/SampleCommand.hpp"
#include "cli/StopSignals.hpp"
#include "cli/TerminalChart.hpp"

namespace tallowbeck::cli {

namespace {

constexpr std::string_view tableRow = "{:<20}  {:>10}  {:>6}  {:>6}  {:<8}  {:<7}  {}\n";
// What a new file gets before the umask takes its share, as with any other program's output.
constexpr mode_t exportedFileMode = 0666;
// A history of a moment or two is charted over this long a stretch around it.
constexpr double shortestChartSeconds = 600;
// Beyond this an image takes hundreds of megabytes to draw.
constexpr int largestImageSide = 8000;

CLI::Option* addSinceOption(CLI::App& command, std::optional<double>& sinceSeconds) {
    return addParsedOption(
               command, "--since", sinceSeconds, "a duration such as 90m, 36h or 720h",
               "Only the last DURATION, such as 90m, 36h or 720h",
               [](const std::string& text) { return AwakeCommand::parseDuration(text); })
        ->type_name("DURATION");
}

const CLI::Validator& imageFileName() {
    static const CLI::Validator validator(
        [](std::string& text) -> std::string {
            if (HistoryChart::formatOf(text)) {
                return {};
            }
            return fmt::format("{} names neither an SVG (.svg) nor a PNG (.png) file", text);
        },
        "FILE.svg|FILE.png");
    return validator;
}

std::string celsius(std::optional<double> temperature) {
    return temperature ? fmt::format("{:.1f}", *temperature) : "—";
}

}  // namespace

HistoryCommand::HistoryCommand(CLI::App& app, FileCalls& calls) : calls_(calls) {
    CLI::App* history = app.add_subcommand("history",
                                           "Show, record, export or clear the "
                                           "temperature history");
    history->require_subcommand(1);
    // The history's options may also follow the subcommand.
    history->fallthrough();
    history->add_option("--file", file_, "The history's snapshot file instead of the default")
        ->type_name("PATH");
    history
        ->add_option("--retention", retentionDays_, "Days of samples that record keeps (default 7)")
        ->type_name("DAYS")
        ->transform(decimalWholeNumber(1));
    addShow(*history);
    addRecord(*history);
    addExport(*history);
    addPlot(*history);
    addTrend(*history);
    addReset(*history);
}

void HistoryCommand::addShow(CLI::App& history) {
    CLI::App* command =
        history.add_subcommand("show", "Show the samples as a table, JSON or a chart");
    CLI::Option* json =
        command->add_flag("--json", json_, "Print the samples as one JSON array instead");
    CLI::Option* chart =
        command->add_flag("--chart", chart_, "Draw the temperatures as a chart instead")
            ->excludes(json);
    addSinceOption(*command, sinceSeconds_)->needs(chart);
    command->callback([this] { show(); });
}

void HistoryCommand::addRecord(CLI::App& history) {
    CLI::App* command = history.add_subcommand("record", "Add a temperature sample taken now");
    command->add_flag("--session-active", sessionActive_,
                      "Mark the samples as taken during a keep-awake session");
    addParsedOption(
        *command, "--every", everySeconds_, "a duration such as 60, 90s, 5m or 1h",
        "Keep adding one every DURATION, on the wall clock's multiples of it, until interrupted",
        [](const std::string& text) { return AwakeCommand::parseDuration(text); })
        ->type_name("DURATION");
    command->callback([this] { record(); });
}

void HistoryCommand::addExport(CLI::App& history) {
    CLI::App* command = history.add_subcommand("export", "Write the samples as CSV");
    command->add_option("--output", output_, "Write to FILE instead of standard output")
        ->type_name("FILE");
    command->callback([this] { exportCSV(); });
}

void HistoryCommand::addPlot(CLI::App& history) {
    CLI::App* command =
        history.add_subcommand("plot", "Draw the temperatures over time as an SVG or PNG image");
    command->add_option("--output", output_, "Write the image to FILE, SVG or PNG by its name")
        ->type_name("FILE")
        ->required()
        ->check(imageFileName());
    addSinceOption(*command, sinceSeconds_);
    command->add_option("--width", width_, "The image's width in pixels (default 960)")
        ->type_name("PIXELS")
        ->check(CLI::Range(HistoryChart::smallestWidth, largestImageSide));
    command->add_option("--height", height_, "The image's height in pixels (default 400)")
        ->type_name("PIXELS")
        ->check(CLI::Range(HistoryChart::smallestHeight, largestImageSide));
    command->callback([this] { plot(); });
}

void HistoryCommand::addTrend(CLI::App& history) {
    CLI::App* command = history.add_subcommand(
        "trend", "Tell whether the battery temperature is rising, steady or falling");
    command->add_option("--window", windowSeconds_, "How far back to look, in seconds")
        ->type_name("SECONDS")
        ->required()
        ->check(nonNegativeNumber());
    command->add_option("--threshold", thresholdCelsius_, "The least change that counts, in °C")
        ->type_name("CELSIUS")
        ->required()
        ->check(nonNegativeNumber());
    command->callback([this] { trend(); });
}

void HistoryCommand::addReset(CLI::App& history) {
    CLI::App* command = history.add_subcommand("reset", "Clear the history");
    command->callback([this] { reset(); });
}

template <typename Action>
auto HistoryCommand::withStore(Action&& action) const {
    TemperatureHistoryStore store(historyFile(), calls_);
    try {
        return action(store);
    } catch (const ForeignFolderError& error) {
        // Most likely the superuser with another user's home folder (sudo -E): the way out is
        // that user, or a history of one's own.
        throw std::runtime_error(
            fmt::format("{}: {}; run this as user {}, or choose another history with --file PATH",
                        store.fileURL().string(), error.what(), error.owner()));
    } catch (const std::runtime_error& error) {
        // The store's errors (HistoryDecodingError, CorruptJournalEntryError, std::system_error)
        // say what went wrong but not always in which history.
        throw std::runtime_error(fmt::format("{}: {}", store.fileURL().string(), error.what()));
    }
}

std::optional<std::filesystem::path> HistoryCommand::historyFile() const {
    if (file_.empty()) {
        return std::nullopt;
    }
    return file_;
}

void HistoryCommand::show() const {
    if (chart_) {
        showChart(withStore([](TemperatureHistoryStore& store) { return store.samples(); }));
        return;
    }
    const std::string text = withStore([this](TemperatureHistoryStore& store) {
        return json_ ? HistoryFileFormat::encodeSnapshot(store.samples()) + "\n"
                     : table(store.samples());
    });
    fmt::print("{}", text);
}

void HistoryCommand::record() const {
    withStore([this](TemperatureHistoryStore& store) {
        if (everySeconds_) {
            recordUntilStopped(store);
            return;
        }
        MacTemperatureSensor sensor;
        store.append(SampleCommand::takeSample(sensor, sessionActive_), retentionDays_,
                     WallClock::now());
    });
}

double HistoryCommand::nextRecordingTime(double now, double interval) noexcept {
    return (std::floor(now / interval) + 1) * interval;
}

// One store and one sensor for the whole run: the store keeps what it read, so each round only
// checks the files' stamps and appends a journal line. The next round is always counted from
// the present, so periods missed while the machine slept are skipped, not replayed.
void HistoryCommand::recordUntilStopped(TemperatureHistoryStore& store) const {
    const sigset_t stopSignals = blockStopSignals();
    MacTemperatureSensor sensor;
    do {
        store.append(SampleCommand::takeSample(sensor, sessionActive_), retentionDays_,
                     WallClock::now());
    } while (!stopRequestedBeforeWallTime(stopSignals,
                                          nextRecordingTime(WallClock::now(), *everySeconds_)));
}

void HistoryCommand::exportCSV() const {
    const std::string text = withStore(
        [](TemperatureHistoryStore& store) { return TemperatureCSV::exportText(store.samples()); });
    if (output_.empty()) {
        fmt::print("{}", text);
    } else {
        // Atomically: a failed export leaves an earlier file of that name as it was.
        AtomicFile::replace(calls_, output_, text, exportedFileMode);
    }
}

void HistoryCommand::showChart(const HistorySamples& samples) const {
    const auto period = chartPeriod(samples);
    if (!period) {
        fmt::print("No samples to chart.\n");
        return;
    }
    fmt::print("{}", TerminalChart::text(samples, period->first, period->second,
                                         TerminalChart::outputWidth(),
                                         TerminalChart::outputTakesColour()));
}

void HistoryCommand::plot() const {
    const HistorySamples samples =
        withStore([](TemperatureHistoryStore& store) { return store.samples(); });
    const auto period = chartPeriod(samples);
    if (!period) {
        throw std::runtime_error(sinceSeconds_ ? "the history has no samples in that time; "
                                                 "nothing to plot"
                                               : "the history has no samples; nothing to plot");
    }
    const std::string image = HistoryChart(samples, period->first, period->second, width_, height_)
                                  .render(*HistoryChart::formatOf(output_));
    AtomicFile::replace(calls_, output_, image, exportedFileMode);
}

std::optional<std::pair<double, double>> HistoryCommand::chartPeriod(
    const HistorySamples& samples) const {
    if (sinceSeconds_) {
        const double now = WallClock::now();
        const double start = now - *sinceSeconds_;
        const bool any = std::any_of(samples.begin(), samples.end(), [&](const auto& sample) {
            return sample.recordedAt() >= start && sample.recordedAt() <= now;
        });
        return any ? std::optional(std::pair{start, now}) : std::nullopt;
    }
    if (samples.empty()) {
        return std::nullopt;
    }
    const auto [first, last] = std::minmax_element(
        samples.begin(), samples.end(),
        [](const auto& left, const auto& right) { return left.recordedAt() < right.recordedAt(); });
    const double middle = (first->recordedAt() + last->recordedAt()) / 2;
    const double half =
        std::max(last->recordedAt() - first->recordedAt(), shortestChartSeconds) / 2;
    return std::pair{middle - half, middle + half};
}

void HistoryCommand::trend() const {
    const TemperatureTrend result = withStore([this](TemperatureHistoryStore& store) {
        return TemperatureTrend::evaluate(store.samples(), windowSeconds_, thresholdCelsius_);
    });
    fmt::print("{}\n", result.textValue());
}

void HistoryCommand::reset() const {
    withStore([](TemperatureHistoryStore& store) { store.reset(); });
}

std::string HistoryCommand::table(std::span<const TemperatureSample> samples) {
    std::string text = fmt::format(tableRow, "Time (UTC)", "Battery °C", "CPU °C", "GPU °C",
                                   "Thermal", "Session", "Lid");
    for (const TemperatureSample& sample : samples) {
        text += fmt::format(tableRow, InternetDateTime::text(sample.recordedAt()),
                            celsius(sample.batteryCelsius()), celsius(sample.cpuCelsius()),
                            celsius(sample.gpuCelsius()), displayName(sample.thermalState()),
                            sample.sessionActive() ? "yes" : "no",
                            sample.lidClosed() ? "closed" : "open");
    }
    return text;
}

}  // namespace tallowbeck::cli
