#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"

namespace tallowbeck {
namespace {

using Kind = PowerControlError::Kind;

TEST(PowerControlErrorTests, AssertionFailedMessage) {
    EXPECT_STREQ(PowerControlError::assertionFailed(5).what(),
                 "macOS rejected the keep-awake assertion (5).");
}

TEST(PowerControlErrorTests, AssertionReleaseFailedMessage) {
    EXPECT_STREQ(PowerControlError::assertionReleaseFailed(5).what(),
                 "macOS could not release the keep-awake assertion (5).");
}

TEST(PowerControlErrorTests, RootDomainOpenFailedMessageHasNoSpaceAroundTheCode) {
    const std::string message = PowerControlError::rootDomainOpenFailed(5).what();
    EXPECT_EQ(message, "Quillmoss could not open the power root domain (5).");
    EXPECT_EQ(message,
              std::string("Quillmoss could not open the power root domain (") + "5" + ").");
}

TEST(PowerControlErrorTests, ClamshellUpdateFailedMessage) {
    EXPECT_STREQ(PowerControlError::clamshellUpdateFailed(5).what(),
                 "macOS rejected the closed-lid setting (5).");
}

TEST(PowerControlErrorTests, RootDomainUnavailableMessage) {
    EXPECT_STREQ(PowerControlError::rootDomainUnavailable().what(),
                 "The macOS power root domain is unavailable.");
}

TEST(PowerControlErrorTests, NegativeStatusKeepsItsMinusSign) {
    EXPECT_STREQ(PowerControlError::assertionReleaseFailed(IOReturn::notFound).what(),
                 "macOS could not release the keep-awake assertion (-536870160).");
    EXPECT_STREQ(PowerControlError::rootDomainOpenFailed(IOReturn::unsupported).what(),
                 "Quillmoss could not open the power root domain (-536870201).");
}

TEST(PowerControlErrorTests, ExtremeCodesAreWrittenInFull) {
    EXPECT_STREQ(
        PowerControlError::assertionFailed(std::numeric_limits<std::int32_t>::min()).what(),
        "macOS rejected the keep-awake assertion (-2147483648).");
    EXPECT_STREQ(
        PowerControlError::clamshellUpdateFailed(std::numeric_limits<std::int32_t>::max()).what(),
        "macOS rejected the closed-lid setting (2147483647).");
}

TEST(PowerControlErrorTests, FactoriesCarryTheirKindAndCode) {
    EXPECT_EQ(PowerControlError::assertionFailed(1).kind(), Kind::assertionFailed);
    EXPECT_EQ(PowerControlError::assertionReleaseFailed(2).kind(), Kind::assertionReleaseFailed);
    EXPECT_EQ(PowerControlError::rootDomainOpenFailed(3).kind(), Kind::rootDomainOpenFailed);
    EXPECT_EQ(PowerControlError::clamshellUpdateFailed(4).kind(), Kind::clamshellUpdateFailed);
    EXPECT_EQ(PowerControlError::rootDomainUnavailable().kind(), Kind::rootDomainUnavailable);

    EXPECT_EQ(PowerControlError::assertionFailed(1).code(), 1);
    EXPECT_EQ(PowerControlError::assertionReleaseFailed(2).code(), 2);
    EXPECT_EQ(PowerControlError::rootDomainOpenFailed(3).code(), 3);
    EXPECT_EQ(PowerControlError::clamshellUpdateFailed(-4).code(), -4);
    EXPECT_EQ(PowerControlError::rootDomainUnavailable().code(), std::nullopt);
}

TEST(PowerControlErrorTests, KindsAreDeclaredInTheirFixedOrder) {
    EXPECT_LT(Kind::assertionFailed, Kind::assertionReleaseFailed);
    EXPECT_LT(Kind::assertionReleaseFailed, Kind::rootDomainOpenFailed);
    EXPECT_LT(Kind::rootDomainOpenFailed, Kind::clamshellUpdateFailed);
    EXPECT_LT(Kind::clamshellUpdateFailed, Kind::rootDomainUnavailable);
}

TEST(PowerControlErrorTests, EqualWhenKindAndCodeMatch) {
    EXPECT_EQ(PowerControlError::assertionFailed(7), PowerControlError::assertionFailed(7));
    EXPECT_EQ(PowerControlError::rootDomainUnavailable(),
              PowerControlError::rootDomainUnavailable());
}

TEST(PowerControlErrorTests, DifferentCodesAreNotEqual) {
    EXPECT_NE(PowerControlError::assertionFailed(7), PowerControlError::assertionFailed(8));
    EXPECT_NE(PowerControlError::clamshellUpdateFailed(-1),
              PowerControlError::clamshellUpdateFailed(1));
}

TEST(PowerControlErrorTests, DifferentKindsWithTheSameCodeAreNotEqual) {
    EXPECT_NE(PowerControlError::assertionFailed(7), PowerControlError::assertionReleaseFailed(7));
    EXPECT_NE(PowerControlError::rootDomainOpenFailed(0),
              PowerControlError::clamshellUpdateFailed(0));
    EXPECT_NE(PowerControlError::rootDomainOpenFailed(0),
              PowerControlError::rootDomainUnavailable());
}

TEST(PowerControlErrorTests, CaughtAsAStandardExceptionWithTheSameMessage) {
    try {
        throw PowerControlError::clamshellUpdateFailed(-3);
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "macOS rejected the closed-lid setting (-3).");
        const auto* typed = dynamic_cast<const PowerControlError*>(&error);
        ASSERT_NE(typed, nullptr);
        EXPECT_EQ(*typed, PowerControlError::clamshellUpdateFailed(-3));
    }
}

}  // namespace
}  // namespace tallowbeck
