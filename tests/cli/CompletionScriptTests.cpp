#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <string>
#include <vector>

#include "cli/CompletionScript.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using cli::CompletionScript;

// The candidates bash offers with the generated script for the command line `typed`, which
// ends where the cursor is.
std::string candidates(const std::string& shell, const std::string& typed) {
    const testing::ProgramResult result =
        testing::runProgram("/bin/bash", {"-c",
                                          "source <(\"$0\" completion " + shell +
                                              ") || exit 9\n"
                                              "read -ra COMP_WORDS <<< \"$1\"\n"
                                              "[[ $1 == *' ' ]] && COMP_WORDS+=('')\n"
                                              "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                              "_tallowbeck\n"
                                              "echo \"${COMPREPLY[*]}\"",
                                          TALLOWBECK_CLI_PATH, typed});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    return result.standardOutput;
}

TEST(CompletionScriptTests, BashCompletesCommandsFromTheirFirstLetters) {
    EXPECT_EQ(candidates("bash", "tallowbeck aw"), "awake\n");
    EXPECT_EQ(candidates("bash", "tallowbeck m"), "moon mars metrics\n");
}

TEST(CompletionScriptTests, BashOffersTheOptionsOfTheCommandTyped) {
    EXPECT_EQ(candidates("bash", "tallowbeck awake --"),
              "--help --for --until --closed-lid --allow-display-sleep --record-every --file "
              "--retention --json --pid --list\n");
}

TEST(CompletionScriptTests, BashOffersSubcommandsBeforeOptions) {
    EXPECT_EQ(candidates("bash", "tallowbeck history "),
              "show record export plot trend reset --help --file --retention\n");
}

TEST(CompletionScriptTests, AfterAnOptionThatTakesAValueBashOffersFiles) {
    const testing::TemporaryDirectory folder;
    const std::string prefix = (folder.path() / "hist").string();
    std::ofstream(prefix + "ory.json") << "[]";
    EXPECT_EQ(candidates("bash", "tallowbeck history show --file " + prefix),
              prefix + "ory.json\n");
}

TEST(CompletionScriptTests, ZshUsesTheSameFunctionThroughBashcompinit) {
    const testing::ProgramResult zsh =
        testing::runProgram(TALLOWBECK_CLI_PATH, {"completion", "zsh"});
    EXPECT_EQ(zsh.exitStatus, 0);
    EXPECT_TRUE(zsh.standardOutput.starts_with("#compdef tallowbeck\n"));
    EXPECT_NE(zsh.standardOutput.find("bashcompinit\n_tallowbeck() {"), std::string::npos);
}

TEST(CompletionScriptTests, AnUnknownShellIsAUsageError) {
    const testing::ProgramResult result =
        testing::runProgram(TALLOWBECK_CLI_PATH, {"completion", "tcsh"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardOutput, "");
}

TEST(CompletionScriptTests, TheTableHoldsEveryCommandWithItsOptions) {
    CLI::App app("test", "tool");
    std::string file;
    bool json = false;
    CLI::App* history = app.add_subcommand("history");
    history->add_option("--file", file, "The history's file");
    CLI::App* show = history->add_subcommand("show");
    show->add_flag("--json", json, "As JSON");
    const std::vector<CompletionScript::Command> commands = CompletionScript::commands(app);
    ASSERT_EQ(commands.size(), 3u);
    EXPECT_EQ(commands[0].path, std::vector<std::string>{"tool"});
    EXPECT_EQ(commands[0].subcommands, std::vector<std::string>{"history"});
    EXPECT_EQ(commands[2].path, (std::vector<std::string>{"tool", "history", "show"}));
    ASSERT_EQ(commands[1].options.size(), 2u);
    EXPECT_EQ(commands[1].options[1].name, "--file");
    EXPECT_TRUE(commands[1].options[1].takesValue);
    ASSERT_EQ(commands[2].options.size(), 2u);
    EXPECT_EQ(commands[2].options[1].name, "--json");
    EXPECT_FALSE(commands[2].options[1].takesValue);
}

TEST(CompletionScriptTests, FishGetsOneLinePerCommandAndOption) {
    CLI::App app("test", "tool");
    std::string file;
    CLI::App* history = app.add_subcommand("history");
    history->add_option("--file", file, "The history's file");
    const std::string fish = CompletionScript::script("fish", CompletionScript::commands(app));
    EXPECT_NE(fish.find("complete -c tool -n '__fish_use_subcommand' -a 'history'\n"),
              std::string::npos)
        << fish;
    EXPECT_NE(fish.find("complete -c tool -n '__fish_seen_subcommand_from history' -l file -r -F "
                        "-d 'The history'\\''s file'\n"),
              std::string::npos)
        << fish;
}

}  // namespace
}  // namespace tallowbeck
