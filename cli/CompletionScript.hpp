#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// Shell completion scripts read off the command line's own table of commands and options, so
// that they cannot drift from it.
class CompletionScript {
public:
    struct Option {
        std::string name;  // the long form where there is one: "--json", else "-h"
        std::string description;
        bool takesValue = false;
    };
    // What may follow one command.
    struct Command {
        std::vector<std::string> path;  // the command names from the program's down
        std::string description;
        std::vector<std::string> subcommands;
        std::vector<Option> options;
    };

    static constexpr std::array<std::string_view, 3> shells{"bash", "zsh", "fish"};

    // Every command of `app`, the program itself first, then depth first.
    static std::vector<Command> commands(const CLI::App& app);
    // The script for `shell`, one of `shells`.
    static std::string script(std::string_view shell, const std::vector<Command>& commands);
};

}  // namespace tallowbeck::cli
