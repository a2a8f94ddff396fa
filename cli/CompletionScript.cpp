#include "cli/CompletionScript.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

namespace tallowbeck::cli {
namespace {

using Command = CompletionScript::Command;

std::string joined(const std::vector<std::string>& words, std::string_view separator = " ") {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : std::string(separator)) + word;
    }
    return text;
}

// Text between single quotes in any of the three shells.
std::string singleQuoted(std::string_view text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

std::vector<CompletionScript::Option> optionsOf(const CLI::App& app) {
    std::vector<CompletionScript::Option> options;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            continue;
        }
        const bool hasLongName = !option->get_lnames().empty();
        options.push_back({.name = hasLongName ? "--" + option->get_lnames().front()
                                               : "-" + option->get_snames().front(),
                           .description = option->get_description(),
                           .takesValue = option->get_expected_max() > 0});
    }
    return options;
}

void collect(const CLI::App& app, std::vector<std::string> path, std::vector<Command>& commands) {
    path.push_back(app.get_name());
    Command command{.path = path,
                    .description = app.get_description(),
                    .subcommands = {},
                    .options = optionsOf(app)};
    const auto subcommands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* subcommand : subcommands) {
        command.subcommands.push_back(subcommand->get_name());
    }
    commands.push_back(std::move(command));
    for (const CLI::App* subcommand : subcommands) {
        collect(*subcommand, path, commands);
    }
}

std::vector<std::string> wordsOf(const Command& command) {
    std::vector<std::string> words = command.subcommands;
    for (const CompletionScript::Option& option : command.options) {
        words.push_back(option.name);
    }
    return words;
}

// The options that take a value, of the command and of those above it, whose options also
// hold below them ("history show --file").
std::vector<std::string> valueOptionsOf(const std::vector<Command>& commands,
                                        const Command& command) {
    std::vector<std::string> options;
    for (const Command& above : commands) {
        const bool isAbove = above.path.size() <= command.path.size() &&
                             std::equal(above.path.begin(), above.path.end(), command.path.begin());
        if (isAbove) {
            for (const CompletionScript::Option& option : above.options) {
                if (option.takesValue) {
                    options.push_back(option.name);
                }
            }
        }
    }
    return options;
}

// One bash function for bash and, through bashcompinit, for zsh: it follows the command words
// typed so far down the table, then offers what may follow the last command; after an option
// that takes a value it offers file names, and after "--" command names.
std::string bashFunction(const std::vector<Command>& commands) {
    std::string descents;
    std::string offers;
    for (const Command& command : commands) {
        const std::string path = joined(command.path);
        for (const std::string& subcommand : command.subcommands) {
            descents +=
                fmt::format("            {}) path={} ;;\n", singleQuoted(path + " " + subcommand),
                            singleQuoted(path + " " + subcommand));
        }
        offers += fmt::format("        {}) words={} values={} ;;\n", singleQuoted(path),
                              singleQuoted(joined(wordsOf(command))),
                              singleQuoted(joined(valueOptionsOf(commands, command))));
    }
    return fmt::format(R"(_tallowbeck() {{
    local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}}
    local path={} words= values= i
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ${{COMP_WORDS[i]}} == -- ]]; then
            COMPREPLY=($(compgen -c -- "$cur"))
            return 0
        fi
        case "$path ${{COMP_WORDS[i]}}" in
{}        esac
    done
    case "$path" in
{}    esac
    if [[ -n $prev && " $values " == *" $prev "* ]]; then
        COMPREPLY=($(compgen -f -- "$cur"))
    else
        COMPREPLY=($(compgen -W "$words" -- "$cur"))
    fi
}}
complete -F _tallowbeck {}
)",
                       singleQuoted(commands.front().path.front()), descents, offers,
                       commands.front().path.front());
}

// Fish names a command's place by the last command word seen.
std::string fishScript(const std::vector<Command>& commands) {
    const std::string program = commands.front().path.front();
    std::string script = fmt::format("complete -c {} -f\n", program);
    for (const Command& command : commands) {
        const std::string condition = command.path.size() == 1
                                          ? "__fish_use_subcommand"
                                          : "__fish_seen_subcommand_from " + command.path.back();
        for (const std::string& subcommand : command.subcommands) {
            script += fmt::format("complete -c {} -n {} -a {}\n", program, singleQuoted(condition),
                                  singleQuoted(subcommand));
        }
        for (const CompletionScript::Option& option : command.options) {
            const bool isLong = option.name.starts_with("--");
            script += fmt::format(
                "complete -c {} -n {} -{} {}{} -d {}\n", program, singleQuoted(condition),
                isLong ? "l" : "s", option.name.substr(isLong ? 2 : 1),
                option.takesValue ? " -r -F" : "", singleQuoted(option.description));
        }
    }
    return script;
}

}  // namespace

std::vector<Command> CompletionScript::commands(const CLI::App& app) {
    std::vector<Command> commands;
    collect(app, {}, commands);
    return commands;
}

std::string CompletionScript::script(std::string_view shell, const std::vector<Command>& commands) {
    if (shell == "bash") {
        return "# bash completion for tallowbeck, made by `tallowbeck completion bash`\n" +
               bashFunction(commands);
    }
    if (shell == "zsh") {
        return "#compdef tallowbeck\n# zsh completion, made by `tallowbeck completion zsh`\n"
               "autoload -U +X bashcompinit && bashcompinit\n" +
               bashFunction(commands);
    }
    if (shell == "fish") {
        return "# fish completion, made by `tallowbeck completion fish`\n" + fishScript(commands);
    }
    throw std::invalid_argument("no completion for shell " + std::string(shell));
}

}  // namespace tallowbeck::cli
