#include "cli/CompletionCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <vector>

#include "cli/CompletionScript.hpp"

namespace tallowbeck::cli {

CompletionCommand::CompletionCommand(CLI::App& app) : app_(app) {
    CLI::App* command =
        app.add_subcommand("completion", "Print the completion script for bash, zsh or fish");
    command->add_option("shell", shell_, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>(CompletionScript::shells.begin(),
                                                       CompletionScript::shells.end())));
    command->callback([this] { run(); });
}

void CompletionCommand::run() const {
    fmt::print("{}", CompletionScript::script(shell_, CompletionScript::commands(app_)));
}

}  // namespace tallowbeck::cli
