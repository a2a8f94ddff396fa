// The real watchdog executable, given command lines that end its run at once.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;
using testing::CapturedOutput;
using testing::ChildExit;
using testing::ChildProcess;

// The watchdog has nothing to do at the end but one system call and its exit.
constexpr auto promptExit = 1s;

std::optional<ChildExit> runWatchdog(const std::vector<std::string>& arguments,
                                     const CapturedOutput& output) {
    ChildProcess watchdog = ChildProcess::start(
        TALLOWBECK_WATCHDOG_PATH, arguments,
        {.input = -1, .output = output.descriptor(), .error = output.descriptor()});
    return watchdog.exitWithin(promptExit);
}

class WatchdogEndToEndIgnoredArguments : public ::testing::TestWithParam<std::vector<std::string>> {
};

TEST_P(WatchdogEndToEndIgnoredArguments, ExitWithZeroAtOnceAndSilently) {
    const CapturedOutput output;

    const std::optional<ChildExit> exit = runWatchdog(GetParam(), output);

    ASSERT_TRUE(exit) << "the watchdog did not exit within a second";
    EXPECT_EQ(exit->exitStatus(), 0) << "wait status " << exit->waitStatus;
    EXPECT_EQ(output.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    BadCommandLines, WatchdogEndToEndIgnoredArguments,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"42", "43"},
                      std::vector<std::string>{""}, std::vector<std::string>{" 42"},
                      std::vector<std::string>{"0x2A"}, std::vector<std::string>{"2147483648"},
                      std::vector<std::string>{"1"}, std::vector<std::string>{"0"},
                      std::vector<std::string>{"-5"}));

TEST(WatchdogEndToEnd, PIDOfALivingProcessOtherThanItsParentEndsTheRunAtOnce) {
    const CapturedOutput output;
    ChildProcess bystander = ChildProcess::start("/bin/sleep", {"3600"});

    const std::optional<ChildExit> exit = runWatchdog({std::to_string(bystander.pid())}, output);

    ASSERT_TRUE(exit) << "the watchdog waited for a process that is not its parent";
    EXPECT_EQ(exit->exitStatus(), 0) << "wait status " << exit->waitStatus;
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(bystander.exitWithin(0ms)) << "the bystander was disturbed";
}

}  // namespace
}  // namespace tallowbeck
