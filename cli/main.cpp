#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <exception>

#include "cli/FansCommand.hpp"
#include "cli/HistoryCommand.hpp"
#include "cli/SampleCommand.hpp"
#include "cli/StatusCommand.hpp"

namespace {

constexpr int usageErrorStatus = 2;

bool isRequestForInformation(const CLI::ParseError& error) {
    return error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"CPU, memory, disk and temperature figures of this machine", "tallowbeck"};
    app.set_version_flag("--version", TALLOWBECK_VERSION);
    const tallowbeck::cli::StatusCommand status(app);
    const tallowbeck::cli::SampleCommand sample(app);
    const tallowbeck::cli::HistoryCommand history(app);
    const tallowbeck::cli::FansCommand fans(app);

    try {
        app.parse(argc, argv);
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
