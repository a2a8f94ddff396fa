#include <gtest/gtest.h>

#include "TallowbeckCore/history/SystemThermalState.hpp"

namespace tallowbeck {
namespace {

TEST(SystemThermalStateTests, IsOneByteHoldingTheCaseIndex) {
    static_assert(sizeof(SystemThermalState) == 1);
    const auto states = allSystemThermalStates();
    for (std::size_t index = 0; index < states.size(); ++index) {
        EXPECT_EQ(static_cast<std::size_t>(states[index]), index);
    }
    EXPECT_EQ(states.front(), SystemThermalState::nominal);
    EXPECT_EQ(states.back(), SystemThermalState::critical);
}

TEST(SystemThermalStateTests, TextsAndDisplayNames) {
    EXPECT_EQ(textValue(SystemThermalState::nominal), "nominal");
    EXPECT_EQ(textValue(SystemThermalState::fair), "fair");
    EXPECT_EQ(textValue(SystemThermalState::serious), "serious");
    EXPECT_EQ(textValue(SystemThermalState::critical), "critical");
    EXPECT_EQ(displayName(SystemThermalState::nominal), "Nominal");
    EXPECT_EQ(displayName(SystemThermalState::fair), "Fair");
    EXPECT_EQ(displayName(SystemThermalState::serious), "Serious");
    EXPECT_EQ(displayName(SystemThermalState::critical), "Critical");
}

TEST(SystemThermalStateTests, OnlyTheExactTextsGiveAState) {
    for (const SystemThermalState state : allSystemThermalStates()) {
        EXPECT_EQ(systemThermalStateFromText(textValue(state)), state);
    }
    EXPECT_FALSE(systemThermalStateFromText("Nominal"));
    EXPECT_FALSE(systemThermalStateFromText("nominal "));
    EXPECT_FALSE(systemThermalStateFromText(""));
    EXPECT_FALSE(systemThermalStateFromText("hot"));
}

TEST(SystemThermalStateTests, SeriousAndCriticalArePressure) {
    EXPECT_FALSE(isThermalPressure(SystemThermalState::nominal));
    EXPECT_FALSE(isThermalPressure(SystemThermalState::fair));
    EXPECT_TRUE(isThermalPressure(SystemThermalState::serious));
    EXPECT_TRUE(isThermalPressure(SystemThermalState::critical));
}

}  // namespace
}  // namespace tallowbeck
