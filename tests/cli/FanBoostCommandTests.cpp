#include <gtest/gtest.h>

#include <string>

#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "cli/FanBoostCommand.hpp"
#include "tests/testing/ProgramRun.hpp"

namespace tallowbeck {
namespace {

using cli::FanBoostCommand;

const std::vector<FanSpeed> forcedFans{{.id = 0,
                                        .actualRPM = 5770.6,
                                        .minimumRPM = 1200.0,
                                        .maximumRPM = 5779.0,
                                        .targetRPM = 5779.0,
                                        .manual = true},
                                       {.id = 1,
                                        .actualRPM = 6241.0,
                                        .minimumRPM = 1200.0,
                                        .maximumRPM = 6241.0,
                                        .targetRPM = 6241.0,
                                        .manual = true}};

TEST(FanBoostCommandTests, TheHumanReportSaysWhatTheFansAreDoing) {
    EXPECT_EQ(FanBoostCommand::humanReport({.enabled = true,
                                            .boosting = true,
                                            .restorationPending = false,
                                            .fans = forcedFans,
                                            .error = std::nullopt}),
              "Fan Boost on, fans at maximum (fan 0 at 5771 rpm, fan 1 at 6241 rpm)");
    EXPECT_EQ(FanBoostCommand::humanReport({.enabled = true,
                                            .boosting = false,
                                            .restorationPending = false,
                                            .fans = {forcedFans[0]},
                                            .error = std::nullopt}),
              "Fan Boost on, fans automatic (fan 0 at 5771 rpm)");
    EXPECT_EQ(FanBoostCommand::humanReport({}), "Fan Boost off");
}

TEST(FanBoostCommandTests, TheHumanReportEndsWithTheStatussMessage) {
    EXPECT_EQ(
        FanBoostCommand::humanReport({.enabled = false,
                                      .boosting = true,
                                      .restorationPending = true,
                                      .fans = {},
                                      .error = std::string(FanBoostSession::restoreFailedMessage)}),
        "Fan Boost off, automatic fan control still to be restored: Automatic fan control "
        "could not be restored yet. Fan Boost will keep retrying.");
}

TEST(FanBoostCommandTests, TheHumanReportShowsControlCharactersInTheMessageEscaped) {
    const FanBoostStatus status{.enabled = false,
                                .boosting = false,
                                .restorationPending = false,
                                .fans = {},
                                .error =
                                    "\x1b]0;owned\x07\x1b[2J\r\n\xc2\x9b"
                                    "31m 80 \xc2\xb0"
                                    "C \\x1b"};
    EXPECT_EQ(FanBoostCommand::humanReport(status),
              "Fan Boost off: \\x1B]0;owned\\x07\\x1B[2J\\x0D\\x0A\\u009B31m 80 \xc2\xb0"
              "C \\\\x1b");
}

TEST(FanBoostCommandTests, ABoostNeedsBothThresholds) {
    const testing::ProgramResult result =
        testing::runProgram(TALLOWBECK_CLI_PATH, {"fans", "boost", "--cpu", "80"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardError,
              "tallowbeck: --cpu and --gpu: both are required to begin a fan boost\n");
}

TEST(FanBoostCommandTests, AThresholdMustBeANumber) {
    const testing::ProgramResult result =
        testing::runProgram(TALLOWBECK_CLI_PATH, {"fans", "boost", "--cpu", "hot", "--gpu", "80"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardOutput, "");
}

}  // namespace
}  // namespace tallowbeck
