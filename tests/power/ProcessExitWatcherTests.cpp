#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "TallowbeckCore/power/ProcessExitWatcher.hpp"
#include "tests/fakes/RecordingProcessExit.hpp"

namespace tallowbeck {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ProcessExitWatcherUnwatchablePID : public ::testing::TestWithParam<std::int32_t> {};

TEST_P(ProcessExitWatcherUnwatchablePID, ReturnsWithoutAskingThePlatform) {
    testing::RecordingProcessExit platform;

    ProcessExitWatcher::waitForExit(GetParam(), platform);

    EXPECT_THAT(platform.watchedPIDs(), IsEmpty());
}

TEST_P(ProcessExitWatcherUnwatchablePID, GivesNoExitDescriptorWithoutAskingThePlatform) {
    testing::RecordingProcessExit platform;

    EXPECT_FALSE(ProcessExitWatcher::exitDescriptor(GetParam(), platform).isOpen());

    EXPECT_THAT(platform.watchedPIDs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(InitNoneAndNegative, ProcessExitWatcherUnwatchablePID,
                         ::testing::Values(1, 0, -5, std::numeric_limits<std::int32_t>::min()));

TEST(ProcessExitWatcher, HandsPIDTwoAndAboveToThePlatform) {
    testing::RecordingProcessExit platform;

    ProcessExitWatcher::waitForExit(2, platform);
    ProcessExitWatcher::waitForExit(std::numeric_limits<std::int32_t>::max(), platform);

    EXPECT_THAT(platform.watchedPIDs(), ElementsAre(2, std::numeric_limits<std::int32_t>::max()));
}

TEST(ProcessExitWatcher, AsksThePlatformForTheExitDescriptorOfPIDTwoAndAbove) {
    testing::RecordingProcessExit platform;

    static_cast<void>(ProcessExitWatcher::exitDescriptor(2, platform));

    EXPECT_THAT(platform.watchedPIDs(), ElementsAre(2));
}

}  // namespace
}  // namespace tallowbeck
