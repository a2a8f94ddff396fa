#include "cli/FanBoostCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "cli/ReportText.hpp"
#include "cli/StopSignals.hpp"

namespace tallowbeck::cli {
namespace {

constexpr int failureStatus = 1;

std::string stateOf(const FanBoostStatus& status) {
    if (status.enabled) {
        return status.boosting ? "Fan Boost on, fans at maximum" : "Fan Boost on, fans automatic";
    }
    if (status.restorationPending) {
        return "Fan Boost off, automatic fan control still to be restored";
    }
    return "Fan Boost off";
}

[[noreturn]] void fail(std::string_view message) {
    fmt::print(stderr, "tallowbeck: {}\n", message);
    throw CLI::RuntimeError(failureStatus);
}

// Prints a status when it differs from the one printed before.
class StatusPrinter {
public:
    explicit StatusPrinter(std::function<std::string(const FanBoostStatus&)> report)
        : report_(std::move(report)) {}

    void show(const FanBoostStatus& status) {
        std::string text = report_(status);
        if (text != shown_) {
            fmt::print("{}\n", text);
            std::fflush(stdout);
            shown_ = std::move(text);
        }
    }

private:
    std::function<std::string(const FanBoostStatus&)> report_;
    std::string shown_;
};

}  // namespace

FanBoostCommand::FanBoostCommand(CLI::App& fans) {
    command_ = fans.add_subcommand(
        "boost", "Hold the fans at maximum while the chips run hotter than these thresholds");
    command_->add_option("--cpu", cpuCelsius_, "CPU die threshold, 65 to 95 °C")
        ->type_name("CELSIUS");
    command_->add_option("--gpu", gpuCelsius_, "GPU die threshold, 65 to 95 °C")
        ->type_name("CELSIUS");
    command_->add_option("--socket", socket_, "The fan helper's socket")->type_name("PATH");
    command_->add_flag("--json", json_, "Print each status as one JSON object");
    status_ = command_->add_subcommand("status", "Show the fan helper's current status");
    status_->fallthrough();
    command_->callback([this] { run(); });
}

bool FanBoostCommand::parsed() const { return command_->parsed(); }

std::string FanBoostCommand::humanReport(const FanBoostStatus& status) {
    std::string report = stateOf(status);
    const char* separator = " (";
    for (const FanSpeed& fan : status.fans) {
        report += fmt::format("{}fan {} at {:.0f} rpm", separator, fan.id, fan.actualRPM);
        separator = ", ";
    }
    if (!status.fans.empty()) {
        report += ')';
    }
    if (status.error) {
        report += ": " + printableText(*status.error);
    }
    return report;
}

std::string FanBoostCommand::report(const FanBoostStatus& status) const {
    return json_ ? status.json() : humanReport(status);
}

void FanBoostCommand::run() const {
    if (status_->parsed()) {
        showStatus();
    } else {
        boost();
    }
}

FanBoostHelperClient FanBoostCommand::connect() const {
    try {
        return FanBoostHelperClient(socket_);
    } catch (const std::system_error& error) {
        const bool absent = error.code() == std::errc::no_such_file_or_directory ||
                            error.code() == std::errc::connection_refused;
        throw std::runtime_error(absent ? "the fan helper is not running at " + socket_
                                        : "cannot reach the fan helper at " + socket_ + ": " +
                                              error.code().message());
    }
}

// A helper the service manager starts for the connection and that then refuses to start (on a
// machine whose fans it cannot drive) leaves the client without an answer; its journal says why.
FanBoostStatus FanBoostCommand::firstAnswer(const std::function<FanBoostStatus()>& request) {
    try {
        return request();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            fmt::format("{}; where the service manager starts the helper, `journalctl -u "
                        "tallowbeck-fan-helper` says why it stopped or did not start",
                        error.what()));
    }
}

void FanBoostCommand::showStatus() const {
    // A heartbeat from a client that owns nothing changes nothing and gives the status.
    FanBoostHelperClient helper = connect();
    fmt::print("{}\n", report(firstAnswer([&helper] { return helper.heartbeat(); })));
}

void FanBoostCommand::boost() const {
    if (!cpuCelsius_ || !gpuCelsius_) {
        throw CLI::ValidationError("--cpu and --gpu", "both are required to begin a fan boost");
    }
    sigset_t awaited = blockStopSignals();
    // A client continued after being stopped renews its lease at once, not on its schedule.
    alsoAwait(awaited, SIGCONT);
    FanBoostHelperClient helper = connect();
    FanBoostStatus status = firstAnswer([&] {
        return helper.begin(
            {.cpuThresholdCelsius = *cpuCelsius_, .gpuThresholdCelsius = *gpuCelsius_});
    });
    if (!status.enabled) {
        fail(status.error ? printableText(*status.error)
                          : "the fan helper did not begin the fan boost");
    }
    StatusPrinter printer([this](const FanBoostStatus& shown) { return report(shown); });
    printer.show(status);
    for (;;) {
        const std::optional<int> signal =
            signalBefore(awaited, std::chrono::steady_clock::now() + heartbeatInterval);
        if (signal && *signal != SIGCONT) {
            break;
        }
        status = helper.heartbeat();
        printer.show(status);
        // The helper ended the boost: its status has said why.
        if (!status.enabled) {
            throw CLI::RuntimeError(failureStatus);
        }
    }
    status = helper.stop();
    printer.show(status);
    if (status.restorationPending) {
        throw CLI::RuntimeError(failureStatus);
    }
}

}  // namespace tallowbeck::cli
