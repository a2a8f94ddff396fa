#include "cli/HistoryCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
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
#include "cli/CommandOptions.hpp"
#include "cli/SampleCommand.hpp"
#include "cli/StopSignals.hpp"

namespace tallowbeck::cli {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::string_view tableRow = "{:<20}  {:>10}  {:>6}  {:>6}  {:<8}  {:<7}  {}\n";
// What a new file gets before the umask takes its share, as with any other program's output.
constexpr mode_t exportedFileMode = 0666;

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
        ->check(CLI::PositiveNumber);
    addShow(*history);
    addRecord(*history);
    addExport(*history);
    addTrend(*history);
    addReset(*history);
}

void HistoryCommand::addShow(CLI::App& history) {
    CLI::App* command = history.add_subcommand("show", "Show the samples as a table");
    command->add_flag("--json", json_, "Print the samples as one JSON array instead");
    command->callback([this] { show(); });
}

void HistoryCommand::addRecord(CLI::App& history) {
    CLI::App* command = history.add_subcommand("record", "Add a temperature sample taken now");
    command->add_flag("--session-active", sessionActive_,
                      "Mark the samples as taken during a keep-awake session");
    command->add_option("--every", everySeconds_, "Keep adding one every SECONDS until interrupted")
        ->type_name("SECONDS")
        ->check(positiveInterval());
    command->callback([this] { record(); });
}

void HistoryCommand::addExport(CLI::App& history) {
    CLI::App* command = history.add_subcommand("export", "Write the samples as CSV");
    command->add_option("--output", output_, "Write to FILE instead of standard output")
        ->type_name("FILE");
    command->callback([this] { exportCSV(); });
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
    const std::string text = withStore([this](TemperatureHistoryStore& store) {
        return json_ ? HistoryFileFormat::encodeSnapshot(store.samples()) + "\n"
                     : table(store.samples());
    });
    fmt::print("{}", text);
}

void HistoryCommand::record() const {
    withStore([this](TemperatureHistoryStore& store) {
        if (everySeconds_ > 0) {
            recordUntilStopped(store);
            return;
        }
        MacTemperatureSensor sensor;
        store.append(SampleCommand::takeSample(sensor, sessionActive_), retentionDays_,
                     WallClock::now());
    });
}

// One store and one sensor for the whole run: the store keeps what it read, so each round only
// checks the files' stamps and appends a journal line.
void HistoryCommand::recordUntilStopped(TemperatureHistoryStore& store) const {
    const sigset_t stopSignals = blockStopSignals();
    const auto interval = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(everySeconds_));
    MacTemperatureSensor sensor;
    auto deadline = SteadyClock::now();
    do {
        store.append(SampleCommand::takeSample(sensor, sessionActive_), retentionDays_,
                     WallClock::now());
        // A round that overran its interval is followed at once by the next, not by a burst.
        deadline = std::max(deadline + interval, SteadyClock::now());
    } while (!stopRequestedBefore(stopSignals, deadline));
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
