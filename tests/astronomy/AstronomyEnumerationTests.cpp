#include <gtest/gtest.h>

#include <unordered_set>

#include "TallowbeckCore/astronomy/LunarDirection.hpp"
#include "TallowbeckCore/astronomy/LunarHorizonEventKind.hpp"
#include "TallowbeckCore/astronomy/LunarPhase.hpp"
#include "TallowbeckCore/astronomy/SolarSystemBody.hpp"

namespace tallowbeck {
namespace {

// Every case has its text, reads back from exactly that text and hashes apart from the others.
template <typename Enumeration, std::size_t count, typename FromText>
void expectTexts(const std::array<Enumeration, count>& cases,
                 const std::array<std::string_view, count>& texts, FromText fromText) {
    std::unordered_set<Enumeration> distinct;
    for (std::size_t index = 0; index < count; ++index) {
        EXPECT_EQ(static_cast<std::size_t>(cases[index]), index);
        EXPECT_EQ(textValue(cases[index]), texts[index]);
        EXPECT_EQ(fromText(texts[index]), cases[index]);
        distinct.insert(cases[index]);
    }
    EXPECT_EQ(distinct.size(), count);
}

TEST(AstronomyEnumerationTests, LunarPhasesInOrderWithTheirTexts) {
    expectTexts(allLunarPhases(),
                {"New Moon", "Waxing Crescent", "First Quarter", "Waxing Gibbous", "Full Moon",
                 "Waning Gibbous", "Last Quarter", "Waning Crescent"},
                lunarPhaseFromText);
    EXPECT_EQ(allLunarPhases().front(), LunarPhase::newMoon);
    EXPECT_EQ(allLunarPhases().back(), LunarPhase::waningCrescent);
}

TEST(AstronomyEnumerationTests, LunarDirectionsAndHorizonEventKinds) {
    expectTexts(allLunarDirections(), {"Waxing", "Waning"}, lunarDirectionFromText);
    EXPECT_EQ(allLunarDirections().front(), LunarDirection::waxing);
    expectTexts(allLunarHorizonEventKinds(), {"Moonrise", "Moonset"},
                lunarHorizonEventKindFromText);
    EXPECT_EQ(allLunarHorizonEventKinds().front(), LunarHorizonEventKind::rise);
}

TEST(AstronomyEnumerationTests, SolarSystemBodiesOutwardsFromTheSun) {
    expectTexts(allSolarSystemBodies(),
                {"Mercury", "Venus", "Earth", "Mars", "Jupiter", "Saturn", "Uranus", "Neptune"},
                solarSystemBodyFromText);
    EXPECT_EQ(allSolarSystemBodies().front(), SolarSystemBody::mercury);
    EXPECT_EQ(allSolarSystemBodies().back(), SolarSystemBody::neptune);
}

TEST(AstronomyEnumerationTests, OnlyTheExactTextsAreAccepted) {
    for (const std::string_view text :
         {"new moon", "NEW MOON", "New Moon ", " New Moon", "NewMoon", "newMoon", "", "Full"}) {
        EXPECT_FALSE(lunarPhaseFromText(text)) << text;
    }
    for (const std::string_view text : {"waxing", "Waxing ", "Wax", "waning"}) {
        EXPECT_FALSE(lunarDirectionFromText(text)) << text;
    }
    for (const std::string_view text : {"rise", "set", "moonrise", "Moonset\n", "Moon rise"}) {
        EXPECT_FALSE(lunarHorizonEventKindFromText(text)) << text;
    }
    for (const std::string_view text : {"mars", "MARS", "Pluto", "Sun", "Moon", "Earth "}) {
        EXPECT_FALSE(solarSystemBodyFromText(text)) << text;
    }
}

}  // namespace
}  // namespace tallowbeck
