#include <gtest/gtest.h>

#include <string>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;

TEST(FanBoostHardwareErrorTests, TheFiveKindsComeInTheirOrder) {
    EXPECT_EQ(static_cast<int>(Kind::unsupported), 0);
    EXPECT_EQ(static_cast<int>(Kind::unavailable), 1);
    EXPECT_EQ(static_cast<int>(Kind::invalidReading), 2);
    EXPECT_EQ(static_cast<int>(Kind::rejected), 3);
    EXPECT_EQ(static_cast<int>(Kind::competingController), 4);
}

TEST(FanBoostHardwareErrorTests, EachKindHasItsOwnFixedDescription) {
    EXPECT_STREQ(FanBoostHardwareError(Kind::unsupported).what(),
                 "this Mac model is not supported");
    EXPECT_STREQ(FanBoostHardwareError(Kind::unavailable).what(),
                 "the system management controller is unavailable");
    EXPECT_STREQ(FanBoostHardwareError(Kind::invalidReading).what(),
                 "the fan controller gave an invalid reading");
    EXPECT_STREQ(FanBoostHardwareError(Kind::rejected).what(),
                 "the fan controller rejected the request");
    EXPECT_STREQ(FanBoostHardwareError(Kind::competingController).what(),
                 "another fan controller is driving the fans");
}

TEST(FanBoostHardwareErrorTests, TheStatusIsKeptWhenThereIsOne) {
    const FanBoostHardwareError withStatus(Kind::unavailable, -536870201);
    EXPECT_EQ(withStatus.kind(), Kind::unavailable);
    EXPECT_EQ(withStatus.status(), -536870201);
    EXPECT_STREQ(withStatus.what(), "the system management controller is unavailable");
    EXPECT_EQ(FanBoostHardwareError(Kind::rejected).status(), std::nullopt);
}

}  // namespace
}  // namespace tallowbeck
