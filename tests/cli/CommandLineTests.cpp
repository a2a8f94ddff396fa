#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/SampleCommand.hpp"
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

constexpr std::string_view sampleID = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";

TemperatureSample temperatures(std::optional<double> battery, std::optional<double> cpu,
                               std::optional<double> gpu) {
    return TemperatureSample(*UUID::fromText(sampleID), 1714564800.0, battery, cpu, gpu,
                             SystemThermalState::serious, false, true);
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

cli::StatusCommand::Readings sampleReadings() {
    return {sampleMetrics(), temperatures(30.12, 61.5, 48.25)};
}

TEST(CommandLineTests, JsonReportUsesTheFieldNamesAsKeys) {
    EXPECT_EQ(cli::StatusCommand::jsonReport(sampleReadings()),
              R"({"cpuUsage":0.25,"memoryPressure":"warning","memoryPressureScore":0.7,)"
              R"("memoryUsage":0.5,"usedMemoryBytes":8589934592,"totalMemoryBytes":17179869184,)"
              R"("diskUsage":0.75,"availableDiskBytes":26843545600,"totalDiskBytes":107374182400,)"
              R"("batteryCelsius":30.12,"cpuCelsius":61.5,"gpuCelsius":48.25,)"
              R"("thermalState":"serious","lidClosed":true})");
}

TEST(CommandLineTests, JsonReportLeavesOutAbsentFigures) {
    const cli::StatusCommand::Readings readings{sampleMetrics(),
                                                temperatures(std::nullopt, std::nullopt, 48.25)};
    cli::StatusCommand::Readings withoutCPU = readings;
    withoutCPU.metrics.cpuUsage.reset();
    EXPECT_THAT(cli::StatusCommand::jsonReport(withoutCPU), StartsWith(R"({"memoryPressure":)"));
    const std::string report = cli::StatusCommand::jsonReport(readings);
    EXPECT_THAT(report, HasSubstr(R"("totalDiskBytes":107374182400,"gpuCelsius":48.25,)"));
}

TEST(CommandLineTests, HumanReportShowsEveryFigure) {
    const std::string report = cli::StatusCommand::humanReport(sampleReadings());
    EXPECT_THAT(report, HasSubstr("CPU usage:        25.0 %"));
    EXPECT_THAT(report, HasSubstr("Memory:           8.0 GiB of 16.0 GiB used (50.0 %)"));
    EXPECT_THAT(report, HasSubstr("Memory pressure:  Warning (score 0.70)"));
    EXPECT_THAT(
        report,
        HasSubstr("Disk:             75.0 GiB of 100.0 GiB used (75.0 %), 25.0 GiB available"));
    EXPECT_THAT(report, HasSubstr("Battery:          30.1 °C\n"));
    EXPECT_THAT(report, HasSubstr("CPU die:          61.5 °C\n"));
    EXPECT_THAT(report, HasSubstr("GPU die:          48.2 °C\n"));
    EXPECT_THAT(report, HasSubstr("Thermal state:    Serious\n"));
    EXPECT_THAT(report, HasSubstr("Lid:              closed"));
}

TEST(CommandLineTests, HumanReportSaysUnavailableForAbsentFigures) {
    cli::StatusCommand::Readings readings{sampleMetrics(),
                                          temperatures(std::nullopt, std::nullopt, std::nullopt)};
    readings.metrics.cpuUsage.reset();
    const std::string report = cli::StatusCommand::humanReport(readings);
    EXPECT_THAT(report, HasSubstr("CPU usage:        unavailable\n"));
    EXPECT_THAT(report, HasSubstr("Battery:          unavailable\n"));
    EXPECT_THAT(report, HasSubstr("CPU die:          unavailable\n"));
    EXPECT_THAT(report, HasSubstr("GPU die:          unavailable\n"));
}

// Hands out one prepared sample and one prepared chip reading.
class PreparedTemperatures final : public TemperatureReading {
public:
    TemperatureSample readSample(bool sessionActive) override {
        return TemperatureSample(*UUID::fromText(sampleID), 1714564800.0, 30.0, std::nullopt,
                                 std::nullopt, SystemThermalState::fair, sessionActive, true);
    }
    ChipTemperatureReading readChipTemperatures() override {
        return {.recordedAt = 1714564801.0, .cpuCelsius = 70.5, .gpuCelsius = std::nullopt};
    }
};

TEST(CommandLineTests, SampleGetsTheDieTemperaturesFilledIn) {
    PreparedTemperatures sensor;
    EXPECT_EQ(cli::SampleCommand::takeSample(sensor, true),
              TemperatureSample(*UUID::fromText(sampleID), 1714564800.0, 30.0, 70.5, std::nullopt,
                                SystemThermalState::fair, true, true));
}

TEST(CommandLineTests, SamplePrintsOneSampleInTheHistoryForm) {
    const double before = std::floor(WallClock::now());
    const auto result = runTool({"sample"});
    const double after = WallClock::now();
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");
    ASSERT_FALSE(result.standardOutput.empty());
    EXPECT_EQ(result.standardOutput.back(), '\n');
    const TemperatureSample sample = TemperatureSample::fromJSON(result.standardOutput);
    EXPECT_GE(sample.recordedAt(), before);
    EXPECT_LE(sample.recordedAt(), after);
    EXPECT_FALSE(sample.sessionActive());
    // Written exactly as the library writes the sample it decoded.
    EXPECT_EQ(sample.json() + "\n", result.standardOutput);
}

TEST(CommandLineTests, SampleCanBeMarkedAsTakenDuringASession) {
    const auto result = runTool({"sample", "--session-active"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_TRUE(TemperatureSample::fromJSON(result.standardOutput).sessionActive());
}

TEST(CommandLineTests, TwoSamplesHaveDifferentIdentities) {
    const auto first = runTool({"sample"});
    const auto second = runTool({"sample"});
    EXPECT_NE(TemperatureSample::fromJSON(first.standardOutput).id(),
              TemperatureSample::fromJSON(second.standardOutput).id());
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
                            "availableDiskBytes", "totalDiskBytes", "lidClosed"}) {
        EXPECT_EQ(object[key].error(), simdjson::SUCCESS) << key;
    }
    std::string_view thermalState;
    ASSERT_EQ(object["thermalState"].get(thermalState), simdjson::SUCCESS);
    EXPECT_TRUE(systemThermalStateFromText(thermalState)) << thermalState;
}

TEST(CommandLineTests, StatusPrintsAReadableReport) {
    const auto result = runTool({"status"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(result.standardOutput, StartsWith("CPU usage:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Memory pressure:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Disk:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Thermal state:"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Lid:"));
}

TEST(CommandLineTests, HelpAndVersionSucceed) {
    const auto help = runTool({"--help"});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_THAT(help.standardOutput, HasSubstr("status"));
    EXPECT_THAT(help.standardOutput, HasSubstr("sample"));

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

TEST(CommandLineTests, OnlyAwakeTakesWordsAfterTheSeparator) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"status", "--", "[x]"}, {"--", "awake"}, {"history", "show", "--", "x"}}) {
        const auto result = runTool(arguments);
        expectOneLineUsageError(result);
        EXPECT_THAT(result.standardError, HasSubstr(arguments.back()));
    }
}

TEST(CommandLineTests, AwakeHelpShowsWhereTheCommandGoes) {
    const auto help = runTool({"awake", "-h"});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_THAT(help.standardOutput, HasSubstr("COMMAND [ARGS...]"));
    EXPECT_THAT(help.standardOutput, HasSubstr("after --"));
}

}  // namespace
}  // namespace tallowbeck
