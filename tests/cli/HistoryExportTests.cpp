// `tallowbeck history export --output`: the file appears whole or not at all.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/TemperatureCSV.hpp"
#include "cli/HistoryCommand.hpp"
#include "tests/fakes/FaultyFileCalls.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/OpenDescriptors.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::ArmedFault;
using testing::contentsOf;
using testing::FaultyFileCalls;
using testing::FileFunction;

constexpr double noon = 1714564800.0;  // 2024-05-01T12:00:00Z
constexpr int callLimit = 64;
constexpr std::string_view earlierExport = "an earlier export";

class HistoryExportTests : public ::testing::Test {
protected:
    HistoryExportTests() {
        directory.write("history/h.json", HistoryFileFormat::encodeSnapshot(samples));
        directory.write("out/history.csv", earlierExport);
    }

    std::filesystem::path output() const { return directory.path() / "out" / "history.csv"; }

    // Runs the command in this process, reaching files through `calls`.
    void exportWith(FileCalls& calls) const {
        CLI::App app;
        const cli::HistoryCommand command(app, calls);
        std::vector<std::string> arguments = {
            "history", "--file",   (directory.path() / "history" / "h.json").string(),
            "export",  "--output", output().string()};
        // CLI11 takes the words last first.
        std::ranges::reverse(arguments);
        app.parse(arguments);
    }

    std::vector<std::filesystem::path> outputFolder() const {
        std::vector<std::filesystem::path> names;
        for (const auto& entry : std::filesystem::directory_iterator(output().parent_path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    std::vector<TemperatureSample> samples = {testing::sampleAt(noon, 30.0),
                                              testing::sampleAt(noon + 60, 31.0)};
    testing::TemporaryDirectory directory;
};

TEST_F(HistoryExportTests, ReplacesTheFileWithTheWholeExport) {
    exportWith(FileCalls::system());
    EXPECT_EQ(contentsOf(output()), TemperatureCSV::exportText(samples));
    EXPECT_EQ(outputFolder(), std::vector<std::filesystem::path>{"history.csv"});
}

TEST_F(HistoryExportTests, AFailingWriteLeavesTheEarlierFileAsItWas) {
    FaultyFileCalls calls;
    const ArmedFault fault(calls, FileFunction::write, 1, ENOSPC);
    EXPECT_THROW(exportWith(calls), std::system_error);
    EXPECT_EQ(fault.calls(), 1);
    EXPECT_EQ(contentsOf(output()), earlierExport);
    EXPECT_EQ(outputFolder(), std::vector<std::filesystem::path>{"history.csv"});
}

class HistoryExportFaultTests : public HistoryExportTests,
                                public ::testing::WithParamInterface<FileFunction> {};

TEST_P(HistoryExportFaultTests, AnyFailingCallLeavesTheEarlierFileOrTheWholeExport) {
    const std::string whole = TemperatureCSV::exportText(samples);
    for (int failingCall = 1;; ++failingCall) {
        ASSERT_LE(failingCall, callLimit);
        SCOPED_TRACE("failing call " + std::to_string(failingCall));
        directory.write("out/history.csv", earlierExport);
        FaultyFileCalls calls;
        const std::size_t descriptors = testing::openDescriptorCount();
        bool failed = false;
        bool reached = false;
        {
            const ArmedFault fault(calls, GetParam(), failingCall, EIO);
            try {
                exportWith(calls);
            } catch (const std::exception&) {
                failed = true;
            }
            reached = fault.calls() >= failingCall;
        }
        EXPECT_EQ(contentsOf(output()), failed ? std::string(earlierExport) : whole);
        EXPECT_EQ(outputFolder(), std::vector<std::filesystem::path>{"history.csv"});
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
        if (!reached) {
            break;
        }
    }
}

std::string functionName(const ::testing::TestParamInfo<FileFunction>& tested) {
    return std::string(testing::nameOf(tested.param));
}

INSTANTIATE_TEST_SUITE_P(EveryCallOfTheExport, HistoryExportFaultTests,
                         ::testing::ValuesIn(testing::everyFileFunction), functionName);

}  // namespace
}  // namespace tallowbeck
