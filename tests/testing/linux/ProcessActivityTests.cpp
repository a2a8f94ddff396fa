#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "tests/testing/ProcessActivity.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

TEST(ProcessActivityTests, WorkTakesProcessorTime) {
    const ProcessActivity before = ProcessActivity::of(::getpid());
    // Measured in processor time, not wall time: on a loaded machine 50 ms of waiting may hold
    // only a few milliseconds of work.
    const auto until = std::clock() + 50 * CLOCKS_PER_SEC / 1000;
    while (std::clock() < until) {
    }
    EXPECT_GE(ProcessActivity::of(::getpid()).processorTime - before.processorTime, 20ms);
}

TEST(ProcessActivityTests, ASleepIsAContextSwitch) {
    const ProcessActivity before = ProcessActivity::of(::getpid());
    std::this_thread::sleep_for(1ms);
    EXPECT_GT(ProcessActivity::of(::getpid()).contextSwitches, before.contextSwitches);
}

TEST(ProcessActivityTests, AProcessThatIsNotThereCannotBeRead) {
    EXPECT_THROW(ProcessActivity::of(-1), std::runtime_error);
}

}  // namespace
}  // namespace tallowbeck::testing
