#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck completion bash|zsh|fish`: the shell's completion script for the whole command
// line, as registered on `app` when the command runs.
class CompletionCommand {
public:
    explicit CompletionCommand(CLI::App& app);

private:
    void run() const;

    CLI::App& app_;
    std::string shell_;
};

}  // namespace tallowbeck::cli
