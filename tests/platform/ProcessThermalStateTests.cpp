#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck {
namespace {

using Level = ProcessThermalState::Level;

TEST(ProcessThermalStateTests, TheSystemCountsTheLevelsFromZero) {
    EXPECT_EQ(ProcessThermalState::levelReported(0), Level::nominal);
    EXPECT_EQ(ProcessThermalState::levelReported(1), Level::fair);
    EXPECT_EQ(ProcessThermalState::levelReported(2), Level::serious);
    EXPECT_EQ(ProcessThermalState::levelReported(3), Level::critical);
}

TEST(ProcessThermalStateTests, ANumberTheSystemShouldNeverReportIsNominal) {
    for (const std::int64_t reported : {std::int64_t{7}, std::int64_t{4}, std::int64_t{-1},
                                        std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(ProcessThermalState::levelReported(reported), Level::nominal) << reported;
    }
}

}  // namespace
}  // namespace tallowbeck
