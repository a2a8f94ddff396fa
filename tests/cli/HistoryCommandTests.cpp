#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <simdjson.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/HistoryCommand.hpp"
#include "tests/fakes/ForeignOwnerFileCalls.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/ProcessActivity.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::contentsOf;
using ::testing::HasSubstr;
using testing::sampleAt;
using ::testing::SizeIs;
using ::testing::StartsWith;
using namespace std::chrono_literals;

constexpr std::string_view csvHeader =
    "timestamp,battery_celsius,thermal_state,session_active,lid_closed,cpu_max_celsius,"
    "gpu_max_celsius";
// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Snapshot files written by hand: a JSON array of samples, with no journal beside it.
std::string snapshotOf(const std::vector<TemperatureSample>& samples) {
    return HistoryFileFormat::encodeSnapshot(samples);
}

class HistoryCommandTest : public ::testing::Test {
protected:
    testing::ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"history", "--file", file().string()});
        return testing::runProgram(TALLOWBECK_CLI_PATH, arguments);
    }

    std::filesystem::path file() const { return directory_.path() / "history.json"; }
    std::filesystem::path journal() const { return directory_.path() / "history.json.journal"; }

    void writeSnapshot(const std::vector<TemperatureSample>& samples) const {
        directory_.write("history.json", snapshotOf(samples));
    }

    // The samples `show --json` lists.
    std::vector<TemperatureSample> shownSamples() const {
        const auto result = run({"show", "--json"});
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        simdjson::dom::parser parser;
        simdjson::dom::array array;
        EXPECT_EQ(parser.parse(result.standardOutput).get(array), simdjson::SUCCESS)
            << result.standardOutput;
        std::vector<TemperatureSample> samples;
        for (const simdjson::dom::element element : array) {
            samples.push_back(TemperatureSample::fromJSON(simdjson::minify(element)));
        }
        return samples;
    }

    testing::TemporaryDirectory directory_;
};

TEST_F(HistoryCommandTest, RecordAddsOneSampleTakenNow) {
    const double before = std::floor(WallClock::now());
    const auto result = run({"record"});
    const double after = WallClock::now();
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");

    const std::vector<TemperatureSample> samples = shownSamples();
    ASSERT_THAT(samples, SizeIs(1));
    EXPECT_GE(samples[0].recordedAt(), before);
    EXPECT_LE(samples[0].recordedAt(), after);
    EXPECT_FALSE(samples[0].sessionActive());
}

TEST_F(HistoryCommandTest, RecordCanMarkTheSampleAsTakenDuringASession) {
    ASSERT_EQ(run({"record", "--session-active"}).exitStatus, 0);
    const std::vector<TemperatureSample> samples = shownSamples();
    ASSERT_THAT(samples, SizeIs(1));
    EXPECT_TRUE(samples[0].sessionActive());
}

TEST_F(HistoryCommandTest, ShowJsonListsTheSamplesInTheirJsonForm) {
    const std::vector<TemperatureSample> written{sampleAt(noon, 30.0), sampleAt(noon + 60, 35.0)};
    writeSnapshot(written);
    const auto result = run({"show", "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, '[' + written[0].json() + ',' + written[1].json() + "]\n");
}

TEST_F(HistoryCommandTest, ShowPrintsOneTableRowPerSample) {
    writeSnapshot({sampleAt(noon, 30.0), sampleAt(noon + 60, std::nullopt)});
    const auto result = run({"show"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(result.standardOutput, StartsWith("Time (UTC)"));
    EXPECT_EQ(lineCount(result.standardOutput), 3U) << result.standardOutput;
    EXPECT_THAT(result.standardOutput,
                HasSubstr("2024-05-01T12:00:00Z        30.0    48.2    41.0  Nominal   no"));
    EXPECT_THAT(result.standardOutput,
                HasSubstr("2024-05-01T12:01:00Z           —    48.2    41.0  Nominal   no"));
}

TEST_F(HistoryCommandTest, ExportWritesTheHeaderAndOneLinePerSample) {
    ASSERT_EQ(run({"record"}).exitStatus, 0);
    ASSERT_EQ(run({"record"}).exitStatus, 0);
    const auto result = run({"export"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(result.standardOutput, StartsWith(std::string(csvHeader) + '\n'));
    // Three lines, the last without a line feed.
    EXPECT_EQ(lineCount(result.standardOutput), 2U) << result.standardOutput;
    ASSERT_FALSE(result.standardOutput.empty());
    EXPECT_NE(result.standardOutput.back(), '\n');

    const std::filesystem::path output = directory_.path() / "history.csv";
    const auto toFile = run({"export", "--output", output.string()});
    ASSERT_EQ(toFile.exitStatus, 0) << toFile.standardError;
    EXPECT_EQ(toFile.standardOutput, "");
    EXPECT_EQ(contentsOf(output), result.standardOutput);
}

TEST_F(HistoryCommandTest, ExportOfAnEmptyHistoryIsTheHeaderAlone) {
    const auto result = run({"export"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, csvHeader);
}

TEST_F(HistoryCommandTest, TrendComparesTheBatteryTemperatureOverTheWindow) {
    writeSnapshot({sampleAt(noon, 30.0), sampleAt(noon + 60, 35.0)});
    EXPECT_EQ(run({"trend", "--window", "600", "--threshold", "1"}).standardOutput, "rising\n");
    EXPECT_EQ(run({"trend", "--window", "600", "--threshold", "10"}).standardOutput, "steady\n");

    writeSnapshot({sampleAt(noon, 35.0), sampleAt(noon + 60, 30.0)});
    EXPECT_EQ(run({"trend", "--window", "600", "--threshold", "1.5"}).standardOutput, "falling\n");
}

TEST_F(HistoryCommandTest, TrendOfAHistoryWithoutBatteryValuesIsUnavailable) {
    writeSnapshot({sampleAt(noon, std::nullopt)});
    const auto result = run({"trend", "--window", "600", "--threshold", "1"});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, "unavailable\n");
}

TEST_F(HistoryCommandTest, ResetEmptiesTheHistory) {
    ASSERT_EQ(run({"record"}).exitStatus, 0);
    ASSERT_THAT(shownSamples(), SizeIs(1));
    const auto result = run({"reset"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(shownSamples(), SizeIs(0));
    EXPECT_EQ(run({"export"}).standardOutput, csvHeader);
}

TEST_F(HistoryCommandTest, HistoryOptionsMayFollowTheSubcommand) {
    const auto result =
        testing::runProgram(TALLOWBECK_CLI_PATH, {"history", "record", "--file", file().string()});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(shownSamples(), SizeIs(1));
}

TEST_F(HistoryCommandTest, ACorruptHistoryIsOneErrorLineNamingTheFileAndStaysUntouched) {
    writeSnapshot({sampleAt(noon, 30.0)});
    directory_.write("history.json.journal", "{\"reset\":false}\n");
    const std::string snapshotBefore = contentsOf(file());
    const std::string journalBefore = contentsOf(journal());

    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"show"},
             {"show", "--json"},
             {"record"},
             {"export"},
             {"export", "--output", (directory_.path() / "out.csv").string()},
             {"trend", "--window", "600", "--threshold", "1"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitStatus, 1) << arguments[0];
        EXPECT_EQ(result.standardOutput, "") << arguments[0];
        EXPECT_THAT(result.standardError,
                    StartsWith("tallowbeck: " + file().string() + ": journal line 1"))
            << arguments[0];
        EXPECT_EQ(lineCount(result.standardError), 1U) << result.standardError;
    }
    EXPECT_EQ(contentsOf(file()), snapshotBefore);
    EXPECT_EQ(contentsOf(journal()), journalBefore);
    EXPECT_FALSE(std::filesystem::exists(directory_.path() / "out.csv"));
}

TEST_F(HistoryCommandTest, AnUndecodableSnapshotIsOneErrorLineNamingTheFile) {
    directory_.write("history.json", "[{\"id\":3}]");
    const auto result = run({"show"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.standardError, StartsWith("tallowbeck: " + file().string() + ": "));
    EXPECT_EQ(lineCount(result.standardError), 1U) << result.standardError;
    EXPECT_EQ(contentsOf(file()), "[{\"id\":3}]");
}

TEST_F(HistoryCommandTest, BadNumbersAreUsageErrors) {
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"trend", "--window", "-1", "--threshold", "1"},
                                               {"trend", "--window", "soon", "--threshold", "1"},
                                               {"trend", "--window", "nan", "--threshold", "1"},
                                               {"trend", "--window", "600", "--threshold", "-2"},
                                               {"trend", "--window", "600"},
                                               {"record", "--every", "0"},
                                               {"record", "--every", "inf"},
                                               {"--retention", "0", "record"},
                                               {"--retention", "0x10", "record"},
                                               {"--retention", "0b1", "record"},
                                               {"--retention", "1e3", "record"},
                                               {"--retention", "+7", "record"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitStatus, 2) << arguments[0] << ' ' << arguments[1];
        EXPECT_THAT(result.standardError, StartsWith("tallowbeck: "));
        EXPECT_EQ(lineCount(result.standardError), 1U) << result.standardError;
    }
    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_FALSE(std::filesystem::exists(journal()));
}

TEST_F(HistoryCommandTest, RetentionIsDecimalWhateverItsLeadingZeros) {
    constexpr double day = 24 * 60 * 60;
    const TemperatureSample nineDaysOld = sampleAt(std::floor(WallClock::now() - 9 * day));
    writeSnapshot({nineDaysOld});

    // Ten days, not the eight that "010" would be as an octal number.
    ASSERT_EQ(run({"--retention", "010", "record"}).exitStatus, 0);
    EXPECT_THAT(shownSamples(), ::testing::Contains(nineDaysOld));
    ASSERT_EQ(run({"--retention", "0008", "record"}).exitStatus, 0);
    EXPECT_THAT(shownSamples(), ::testing::Not(::testing::Contains(nineDaysOld)));
}

TEST_F(HistoryCommandTest, HistoryNeedsASubcommand) { EXPECT_EQ(run({}).exitStatus, 2); }

TEST_F(HistoryCommandTest, AHistoryFolderThatWouldGoInAnotherUsersFolderIsRefusedNamingFile) {
    const std::filesystem::path theirs = directory_.path() / "theirs";
    std::filesystem::create_directories(theirs);
    const std::filesystem::path history = theirs / "history" / "h.json";
    testing::ForeignOwnerFileCalls calls(theirs, ::geteuid() + 1);
    CLI::App app;
    const cli::HistoryCommand command(app, calls);
    // CLI11 takes the words last first.
    std::vector<std::string> arguments = {"record", history.string(), "--file", "history"};
    const auto error = testing::thrown<std::runtime_error>([&] { app.parse(arguments); });
    ASSERT_TRUE(error.has_value());
    EXPECT_THAT(error->what(), StartsWith(history.string() + ": refusing to create " +
                                          (theirs / "history").string() + ": " + theirs.string() +
                                          " belongs to user " + std::to_string(::geteuid() + 1)));
    EXPECT_THAT(error->what(), HasSubstr("--file"));
    EXPECT_TRUE(std::filesystem::is_empty(theirs));
}

class RecordEveryTest : public HistoryCommandTest {
protected:
    // A `tallowbeck` left running, with the default handling of every signal.
    testing::ChildProcess recordEvery(const std::string& seconds) const {
        return testing::ChildProcess::start(
            TALLOWBECK_CLI_PATH,
            {"history", "--file", file().string(), "record", "--every", seconds});
    }

    // Waits, within `patience`, until the history holds `count` samples.
    bool reachesSampleCount(std::size_t count,
                            std::chrono::seconds patience = std::chrono::seconds(5)) const {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < deadline) {
            if (std::filesystem::exists(journal()) && shownSamples().size() >= count) {
                return true;
            }
            std::this_thread::sleep_for(50ms);
        }
        return false;
    }
};

TEST_F(RecordEveryTest, KeepsSamplingOnTheWallClocksMultiplesUntilSIGINTThenExitsCleanly) {
    testing::ChildProcess tool = recordEvery("2s");
    ASSERT_TRUE(reachesSampleCount(4, 15s));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.waitForExit(3s).exitStatus(), 0);
    const std::vector<TemperatureSample> samples = shownSamples();
    ASSERT_GE(samples.size(), 4U);
    // The first at once, then each on an even second: the stored times are whole seconds.
    for (std::size_t index = 1; index < samples.size(); ++index) {
        EXPECT_EQ(std::fmod(samples[index].recordedAt(), 2.0), 0.0) << index;
        EXPECT_LE(samples[index].recordedAt() - samples[index - 1].recordedAt(), 2.0) << index;
    }
}

TEST(HistoryRecordingScheduleTests, TheNextSampleIsTheNextMultipleOfTheInterval) {
    EXPECT_EQ(cli::HistoryCommand::nextRecordingTime(100.3, 60.0), 120.0);
    EXPECT_EQ(cli::HistoryCommand::nextRecordingTime(120.0, 60.0), 180.0);
    EXPECT_EQ(cli::HistoryCommand::nextRecordingTime(59.999, 60.0), 60.0);
    EXPECT_EQ(cli::HistoryCommand::nextRecordingTime(1'700'000'000.5, 3600.0), 1'700'002'800.0);
    // Woken an hour and a half late, it takes the next period and skips those it missed.
    EXPECT_EQ(cli::HistoryCommand::nextRecordingTime(120.0 + 5400.5, 60.0), 5580.0);
}

TEST_F(RecordEveryTest, WaitingForTheNextPeriodTakesNoProcessorTime) {
    testing::ChildProcess tool = recordEvery("1h");
    ASSERT_TRUE(reachesSampleCount(1));
    std::this_thread::sleep_for(300ms);
    const testing::ProcessActivity before = testing::ProcessActivity::of(tool.pid());
    std::this_thread::sleep_for(2s);
    const testing::ProcessActivity after = testing::ProcessActivity::of(tool.pid());
    EXPECT_EQ(after.processorTime, before.processorTime);
    EXPECT_EQ(after.contextSwitches, before.contextSwitches);
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.waitForExit(3s).exitStatus(), 0);
}

TEST_F(RecordEveryTest, SIGTERMEndsTheWaitAtOnce) {
    testing::ChildProcess tool = recordEvery("600");
    ASSERT_TRUE(reachesSampleCount(1));
    const auto signalledAt = std::chrono::steady_clock::now();
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.waitForExit(3s).exitStatus(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - signalledAt, 3s);
    EXPECT_THAT(shownSamples(), SizeIs(1));
}

}  // namespace
}  // namespace tallowbeck
