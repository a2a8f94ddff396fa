#include <fmt/core.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "cli/AwakeCommand.hpp"
#include "cli/CompletionCommand.hpp"
#include "cli/FansCommand.hpp"
#include "cli/HistoryCommand.hpp"
#include "cli/MarsCommand.hpp"
#include "cli/MetricsCommand.hpp"
#include "cli/MoonCommand.hpp"
#include "cli/PlanetsCommand.hpp"
#include "cli/SampleCommand.hpp"
#include "cli/StatusCommand.hpp"

namespace {

constexpr int usageErrorStatus = 2;

bool isRequestForInformation(const CLI::ParseError& error) {
    return error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
}

// Where the options end: the first bare "--", or argc. Everything after it is awake's command.
int separatorIndex(int argc, char** argv) {
    return static_cast<int>(std::find(argv + 1, argv + argc, std::string_view("--")) - argv);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Keep-awake sessions, and the CPU, memory, disk and temperature figures of this "
        "machine",
        "tallowbeck"};
    app.set_version_flag("--version", TALLOWBECK_VERSION);
    const tallowbeck::cli::StatusCommand status(app);
    const tallowbeck::cli::SampleCommand sample(app);
    const tallowbeck::cli::HistoryCommand history(app);
    tallowbeck::cli::AwakeCommand awake(app);
    const tallowbeck::cli::MoonCommand moon(app);
    const tallowbeck::cli::PlanetsCommand planets(app);
    const tallowbeck::cli::MarsCommand mars(app);
    const tallowbeck::cli::FansCommand fans(app);
    const tallowbeck::cli::MetricsCommand metrics(app);
    const tallowbeck::cli::CompletionCommand completion(app);

    const int separator = separatorIndex(argc, argv);
    const std::vector<std::string> afterSeparator(argv + std::min(separator + 1, argc),
                                                  argv + argc);
    // Before any command runs: only awake takes words after "--".
    app.parse_complete_callback([&awake, &afterSeparator] {
        if (!awake.chosen() && !afterSeparator.empty()) {
            throw CLI::ExtrasError(fmt::format("only awake takes a command after --, not: {}",
                                               fmt::join(afterSeparator, " ")),
                                   CLI::ExitCodes::ExtrasError);
        }
    });
    awake.takeCommand(afterSeparator);

    try {
        app.parse(separator, argv);
    } catch (const CLI::RuntimeError& error) {
        // A command that ran to its end with a status of its own; it has said what it had to.
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        if (isRequestForInformation(error)) {
            return app.exit(error);
        }
        fmt::print(stderr, "tallowbeck: {}\n", error.what());
        return usageErrorStatus;
    } catch (const std::exception& error) {
        fmt::print(stderr, "tallowbeck: {}\n", error.what());
        return 1;
    }
    if (app.get_subcommands().empty()) {
        fmt::print(stderr, "tallowbeck: a command is required; see tallowbeck --help\n");
        return usageErrorStatus;
    }
    return 0;
}
