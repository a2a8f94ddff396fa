#include <gtest/gtest.h>

#include <optional>

#include "TallowbeckCore/platform/RegistryValue.hpp"

namespace tallowbeck {
namespace {

using Type = RegistryValue::Type;

TEST(RegistryValueTests, ANumberIsItself) {
    EXPECT_EQ(RegistryValue::number(3012.0).asNumber(), 3012.0);
    EXPECT_EQ(RegistryValue::number(-1.5).asNumber(), -1.5);
    EXPECT_EQ(RegistryValue::number(0.0).type(), Type::number);
}

TEST(RegistryValueTests, ABooleanIsTheNumberOneOrZero) {
    EXPECT_EQ(RegistryValue::boolean(true).asNumber(), 1.0);
    EXPECT_EQ(RegistryValue::boolean(false).asNumber(), 0.0);
    EXPECT_EQ(RegistryValue::boolean(true).type(), Type::boolean);
}

TEST(RegistryValueTests, TextIsNoNumberEvenWhenItSpellsOne) {
    EXPECT_EQ(RegistryValue::text("3012").asNumber(), std::nullopt);
    EXPECT_EQ(RegistryValue::text("").asNumber(), std::nullopt);
    EXPECT_EQ(RegistryValue::text("1").type(), Type::text);
}

TEST(RegistryValueTests, MissingAndOtherValuesAreNoNumber) {
    EXPECT_EQ(RegistryValue::missingService().asNumber(), std::nullopt);
    EXPECT_EQ(RegistryValue::missingProperty().asNumber(), std::nullopt);
    EXPECT_EQ(RegistryValue::ofOtherType().asNumber(), std::nullopt);
    EXPECT_EQ(RegistryValue::missingService().type(), Type::serviceMissing);
    EXPECT_EQ(RegistryValue::missingProperty().type(), Type::propertyMissing);
    EXPECT_EQ(RegistryValue::ofOtherType().type(), Type::other);
}

TEST(RegistryValueTests, ValuesAreEqualWhenTypeAndValueAre) {
    EXPECT_EQ(RegistryValue::number(1.0), RegistryValue::number(1.0));
    EXPECT_NE(RegistryValue::number(1.0), RegistryValue::boolean(true));
    EXPECT_NE(RegistryValue::text("a"), RegistryValue::text("b"));
    EXPECT_NE(RegistryValue::missingService(), RegistryValue::missingProperty());
}

}  // namespace
}  // namespace tallowbeck
