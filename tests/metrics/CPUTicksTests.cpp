#include <gtest/gtest.h>

#include <limits>

#include "TallowbeckCore/metrics/CPUTicks.hpp"

namespace tallowbeck {
namespace {

TEST(CPUTicksTests, BusyIsUserSystemAndNice) {
    const CPUTicks ticks = CPUTicks::from({.user = 10, .system = 20, .idle = 1000, .nice = 3});
    EXPECT_EQ(ticks.busy, 33u);
    EXPECT_EQ(ticks.total, 1033u);
}

TEST(CPUTicksTests, IdleAloneIsNotBusy) {
    EXPECT_EQ(CPUTicks::from({.idle = 500}), (CPUTicks{.busy = 0, .total = 500}));
}

TEST(CPUTicksTests, SumsWrapLikeTheCounters) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    const CPUTicks ticks = CPUTicks::from({.user = largest, .system = 2, .idle = 1, .nice = 0});
    EXPECT_EQ(ticks.busy, 1u);
    EXPECT_EQ(ticks.total, 2u);
}

}  // namespace
}  // namespace tallowbeck
