#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <string>

#include "cli/StatusCommand.hpp"
#include "tests/testing/ProgramRun.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;
using testing::runProgram;
using ::testing::StartsWith;

testing::ProgramResult runTool(const std::vector<std::string>& arguments) {
    return runProgram(TALLOWBECK_CLI_PATH, arguments);
}

SystemMetrics sampleMetrics() {
    SystemMetrics metrics;
    metrics.cpuUsage = 0.25;
    metrics.memoryPressure = SystemMemoryPressure::warning;
    metrics.memoryPressureScore = 0.7;
    metrics.memoryUsage = 0.5;
    metrics.usedMemoryBytes = 8ULL << 30;
    metrics.totalMemoryBytes = 16ULL << 30;
    metrics.diskUsage = 0.75;
    metrics.availableDiskBytes = 25ULL << 30;
    metrics.totalDiskBytes = 100ULL << 30;
    return metrics;
}

TEST(CommandLineTests, JsonReportUsesTheFieldNamesAsKeys) {
    EXPECT_EQ(
        cli::StatusCommand::jsonReport(sampleMetrics()),
        R"({"cpuUsage":0.25,"memoryPressure":"warning","memoryPressureScore":0.7,)"
        R"("memoryUsage":0.5,"usedMemoryBytes":8589934592,"totalMemoryBytes":17179869184,)"
        R"("diskUsage":0.75,"availableDiskBytes":26843545600,"totalDiskBytes":107374182400})");
}

TEST(CommandLineTests, JsonReportLeavesOutAnAbsentCpuUsage) {
    SystemMetrics metrics = sampleMetrics();
    metrics.cpuUsage.reset();
    EXPECT_THAT(cli::StatusCommand::jsonReport(metrics), StartsWith(R"({"memoryPressure":)"));
}

TEST(CommandLineTests, HumanReportShowsEveryFigure) {
    const std::string report = cli::StatusCommand::humanReport(sampleMetrics());
    EXPECT_THAT(report, HasSubstr("CPU usage:        25.0 %"));
    EXPECT_THAT(report, HasSubstr("Memory:           8.0 GiB of 16.0 GiB used (50.0 %)"));
    EXPECT_THAT(report, HasSubstr("Memory pressure:  Warning (score 0.70)"));
    EXPECT_THAT(
        report,
        HasSubstr("Disk:             75.0 GiB of 100.0 GiB used (75.0 %), 25.0 GiB available"));
}

TEST(CommandLineTests, HumanReportSaysUnavailableWithoutCpuFigure) {
    SystemMetrics metrics = sampleMetrics();
    metrics.cpuUsage.reset();
    EXPECT_THAT(cli::StatusCommand::humanReport(metrics),
                HasSubstr("CPU usage:        unavailable"));
}

TEST(CommandLineTests, StatusJsonIsOneObjectWithMeasuredFigures) {
    const auto result = runTool({"status", "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");

    simdjson::dom::parser parser;
    simdjson::dom::object object;
    ASSERT_EQ(parser.parse(result.standardOutput).get(object), simdjson::SUCCESS)
        << result.standardOutput;
    double cpuUsage = -1;
    ASSERT_EQ(object["cpuUsage"].get(cpuUsage), simdjson::SUCCESS);
    EXPECT_GE(cpuUsage, 0.0);
    EXPECT_LE(cpuUsage, 1.0);
    std::uint64_t totalMemory = 0;
    ASSERT_EQ(object["totalMemoryBytes"].get(totalMemory), simdjson::SUCCESS);
    EXPECT_GT(totalMemory, 0U);
    std::string_view pressure;
    ASSERT_EQ(object["memoryPressure"].get(pressure), simdjson::SUCCESS);
    EXPECT_THAT((std::vector<std::string_view>{"normal", "warning", "critical"}),
                ::testing::Contains(pressure));
    for (const char* key : {"memoryPressureScore", "memoryUsage", "usedMemoryBytes", "diskUsage",
                            "availableDiskBytes", "totalDiskBytes"}) {
        EXPECT_EQ(object[key].error(), simdjson::SUCCESS) << key;
    }
}

TEST(CommandLineTests, StatusPrintsAReadableReport) {
    const auto result = runTool({"status"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(result.standardOutput, StartsWith("CPU usage:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Memory pressure:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Disk:"));
}

TEST(CommandLineTests, HelpAndVersionSucceed) {
    const auto help = runTool({"--help"});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_THAT(help.standardOutput, HasSubstr("status"));

    const auto version = runTool({"--version"});
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_THAT(version.standardOutput, HasSubstr(TALLOWBECK_VERSION));
}

void expectOneLineUsageError(const testing::ProgramResult& result) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError, StartsWith("tallowbeck: "));
    EXPECT_EQ(std::count(result.standardError.begin(), result.standardError.end(), '\n'), 1)
        << result.standardError;
}

TEST(CommandLineTests, UnknownOptionsAreOneLineErrorsWithStatusTwo) {
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"--frobnicate"}, {"status", "--frobnicate"}}) {
        const auto result = runTool(arguments);
        expectOneLineUsageError(result);
        EXPECT_THAT(result.standardError, HasSubstr("--frobnicate"));
    }
    expectOneLineUsageError(runTool({"no-such-command"}));
    expectOneLineUsageError(runTool({}));
}

}  // namespace
}  // namespace tallowbeck
