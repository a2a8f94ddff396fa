#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/testing/ProcessActivity.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

TEST(ProcessActivityTests, WorkTakesProcessorTime) {
    const ProcessActivity before = ProcessActivity::of(::getpid());
    const auto until = std::chrono::steady_clock::now() + 50ms;
    while (std::chrono::steady_clock::now() < until) {
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
