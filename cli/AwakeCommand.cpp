#include "cli/AwakeCommand.hpp"

#include <fmt/core.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/platform/RunningExecutable.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "cli/AwakeConsole.hpp"
#include "cli/AwakeHost.hpp"
#include "cli/AwakeLockList.hpp"
#include "cli/CommandOptions.hpp"
#include "cli/SessionClock.hpp"
#include "cli/SystemAwakeEvents.hpp"

namespace tallowbeck::cli {
namespace {

constexpr std::string_view watchdogName = "tallowbeck-watchdog";
constexpr std::string_view durationUnits = "hms";
constexpr std::array<double, 3> secondsPerUnit{3600.0, 60.0, 1.0};
// Whole seconds may also stand alone, without their unit.
constexpr std::size_t secondsUnit = 2;
constexpr int hoursPerDay = 24;
constexpr int minutesPerHour = 60;
constexpr int secondsPerMinute = 60;

std::optional<std::int64_t> leadingNumber(std::string_view& text) noexcept {
    std::int64_t value = 0;
    const auto [next, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value < 0) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(next - text.data()));
    return value;
}

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

// "HH:MM" or "HH:MM:SS", two digits each, as seconds after midnight.
std::optional<int> timeOfDay(std::string_view text) noexcept {
    constexpr std::array<int, 3> limits{hoursPerDay, minutesPerHour, secondsPerMinute};
    std::array<int, 3> parts{0, 0, 0};
    std::size_t count = 0;
    for (;;) {
        if (text.size() < 2 || !isDigit(text[0]) || !isDigit(text[1])) {
            return std::nullopt;
        }
        parts[count] = (text[0] - '0') * 10 + (text[1] - '0');
        if (parts[count] >= limits[count]) {
            return std::nullopt;
        }
        ++count;
        text.remove_prefix(2);
        if (text.empty() || count == parts.size() || text.front() != ':') {
            break;
        }
        text.remove_prefix(1);
    }
    if (count < 2 || !text.empty()) {
        return std::nullopt;
    }
    return (parts[0] * minutesPerHour + parts[1]) * secondsPerMinute + parts[2];
}

// The next local time `secondsAfterMidnight` after `now`: today's, or tomorrow's once today's
// has passed.
std::optional<double> nextLocalTime(int secondsAfterMidnight, double now) noexcept {
    for (int dayOffset = 0; dayOffset <= 1; ++dayOffset) {
        const auto nowSeconds = static_cast<std::time_t>(now);
        std::tm local{};
        if (::localtime_r(&nowSeconds, &local) == nullptr) {
            return std::nullopt;
        }
        local.tm_mday += dayOffset;
        local.tm_hour = 0;
        local.tm_min = 0;
        local.tm_sec = secondsAfterMidnight;
        local.tm_isdst = -1;
        const std::time_t candidate = std::mktime(&local);
        if (candidate != -1 && static_cast<double>(candidate) > now) {
            return static_cast<double>(candidate);
        }
    }
    return std::nullopt;
}

std::filesystem::path watchdogPath() {
    const std::optional<std::filesystem::path> executable = RunningExecutable::path();
    if (!executable) {
        throw std::runtime_error("the tallowbeck executable cannot find its own file");
    }
    return executable->parent_path() / watchdogName;
}

}  // namespace

AwakeCommand::AwakeCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "awake",
        "Keep this machine awake for a while, while a command runs or until a process "
        "exits");
    subcommand_ = command;
    CLI::Option* forOption =
        addParsedOption(*command, "--for", lengthSeconds_,
                        "a duration such as 90s, 45m, 2h or 1h30m",
                        "How long, as 90s, 45m, 2h or 1h30m",
                        [](const std::string& text) { return parseDuration(text); })
            ->type_name("DURATION");
    addParsedOption(*command, "--until", endsAt_,
                    "a coming time HH:MM, HH:MM:SS or YYYY-MM-DDTHH:MM:SSZ",
                    "Until a local time HH:MM[:SS] or a date-time 2024-05-01T18:30:00Z",
                    [](const std::string& text) {
                        return parseEndTime(text, SessionClock::system().wallTime());
                    })
        ->type_name("TIME")
        ->excludes(forOption);
    command->add_flag("--closed-lid", closedLid_, "Keep running with the lid closed");
    command->add_flag("--allow-display-sleep", allowDisplaySleep_, "Let the display sleep");
    CLI::Option* every = command
                             ->add_option("--record-every", recordEverySeconds_,
                                          "Add a sample to the temperature history every SECONDS")
                             ->type_name("SECONDS")
                             ->check(positiveInterval());
    command->add_option("--file", file_, "The history's snapshot file instead of the default")
        ->type_name("PATH")
        ->needs(every);
    command
        ->add_option("--retention", retentionDays_,
                     "Days of samples the history keeps when recording (default 7)")
        ->type_name("DAYS")
        ->transform(decimalWholeNumber(1))
        ->needs(every);
    command->add_flag("--json", json_, "Print one JSON object per event instead of text");
    CLI::Option* pid =
        command->add_option("--pid", pid_, "Keep awake until process PID exits")
            ->type_name("PID")
            ->transform(decimalWholeNumber(2, std::numeric_limits<std::int32_t>::max()));
    // Only in the help: a command before "--" would reach here with its words rewritten.
    CLI::Option* program =
        command
            ->add_option_function<std::vector<std::string>>(
                "command",
                [](const std::vector<std::string>&) {
                    throw CLI::ValidationError(
                        "COMMAND", "goes after --, as in tallowbeck awake -- COMMAND [ARGS...]");
                },
                "Keep awake while COMMAND runs (after --)")
            ->type_name("COMMAND [ARGS...]");
    pid->excludes(program);
    command->add_flag("--list", list_, "List the keep-awake locks every program holds now")
        ->excludes(forOption)
        ->excludes("--until")
        ->excludes("--closed-lid")
        ->excludes("--pid");
    command->callback([this] { run(); });
}

std::optional<double> AwakeCommand::parseDuration(std::string_view text) noexcept {
    const bool bareSeconds = text.find_first_of(durationUnits) == std::string_view::npos;
    double total = 0;
    std::size_t nextUnit = 0;
    while (!text.empty()) {
        const std::optional<std::int64_t> amount = leadingNumber(text);
        const std::size_t unit = bareSeconds    ? secondsUnit
                                 : text.empty() ? std::string_view::npos
                                                : durationUnits.find(text.front(), nextUnit);
        if (!amount || unit == std::string_view::npos || (bareSeconds && !text.empty())) {
            return std::nullopt;
        }
        total += static_cast<double>(*amount) * secondsPerUnit[unit];
        nextUnit = unit + 1;
        text.remove_prefix(std::min<std::size_t>(1, text.size()));
    }
    if (!(total > 0 && total <= longestInterval)) {
        return std::nullopt;
    }
    return total;
}

std::optional<double> AwakeCommand::parseEndTime(std::string_view text, double now) noexcept {
    if (const std::optional<double> date = InternetDateTime::secondsSince1970(text)) {
        return *date > now ? date : std::nullopt;
    }
    if (const std::optional<int> secondsAfterMidnight = timeOfDay(text)) {
        return nextLocalTime(*secondsAfterMidnight, now);
    }
    return std::nullopt;
}

void AwakeCommand::takeCommand(std::vector<std::string> words) { command_ = std::move(words); }

bool AwakeCommand::chosen() const { return subcommand_->parsed(); }

void AwakeCommand::run() const {
    if (pid_ && !command_.empty()) {
        throw CLI::ExcludesError("--pid", "a command after --");
    }
    if (const int status = list_ ? listLocks() : runSession(); status != 0) {
        throw CLI::RuntimeError(status);
    }
}

int AwakeCommand::listLocks() const {
    try {
        const std::vector<PowerManagement::HeldLock> locks = PowerManagement::system().heldLocks();
        fmt::print("{}", json_
                             ? AwakeLockList::json(SessionClock::system().wallTime(), locks) + "\n"
                             : AwakeLockList::text(locks));
        return 0;
    } catch (const std::runtime_error& error) {
        fmt::print(stderr, "tallowbeck: {}\n", error.what());
        return AwakeHost::activationFailedStatus;
    }
}

int AwakeCommand::runSession() const {
    SessionClock& clock = SessionClock::system();
    AwakeConsole console(stdout, stderr,
                         json_ ? AwakeConsole::Form::json : AwakeConsole::Form::text,
                         ::isatty(STDOUT_FILENO) == 1, clock);
    AwakeHost::Settings settings;
    settings.lengthSeconds = lengthSeconds_;
    settings.endsAt = endsAt_;
    settings.closedLidEnabled = closedLid_;
    settings.allowsDisplaySleep = allowDisplaySleep_;
    if (recordEverySeconds_ > 0) {
        settings.recordingInterval = recordEverySeconds_;
    }
    settings.retentionDays = retentionDays_;

    std::optional<SystemAwakeEvents> events;
    try {
        events.emplace(clock, command_, pid_);
    } catch (const std::invalid_argument& error) {
        console.problem(error.what());
        return usageErrorStatus;
    }
    MacTemperatureSensor sensor;
    std::optional<TemperatureHistoryStore> history;
    if (settings.recordingInterval) {
        history.emplace(file_.empty() ? std::nullopt : std::optional<std::filesystem::path>(file_));
    }
    AwakeHost host(settings, {.clock = clock,
                              .events = *events,
                              .power = PowerManagement::system(),
                              .sensor = sensor,
                              .output = console,
                              .startWatchdog = [] { startWatchdog(watchdogPath().string()); },
                              .history = history ? &*history : nullptr});
    return host.run();
}

}  // namespace tallowbeck::cli
