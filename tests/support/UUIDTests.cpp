#include <gtest/gtest.h>

#include <unordered_set>

#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {
namespace {

constexpr std::string_view upperText = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";

TEST(UUIDTests, TextIsCanonicalUpperCase) {
    const UUID id = *UUID::fromText("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
    EXPECT_EQ(id.text(), upperText);
    EXPECT_EQ(id.bytes()[0], 0xE6);
    EXPECT_EQ(id.bytes()[15], 0x5F);
}

TEST(UUIDTests, AnyCaseReadsAsTheSameIdentifier) {
    EXPECT_EQ(UUID::fromText("e621E1f8-C36c-495a-93FC-0c247a3e6e5F"), UUID::fromText(upperText));
}

TEST(UUIDTests, RejectsTextThatIsNotTheHyphenatedForm) {
    for (const std::string_view text : {
             "",
             "E621E1F8C36C495A93FC0C247A3E6E5F",
             "E621E1F8-C36C-495A-93FC-0C247A3E6E5",
             "E621E1F8-C36C-495A-93FC-0C247A3E6E5F0",
             "E621E1F8-C36C-495A-93FC-0C247A3E6E5G",
             "E621E1F8+C36C-495A-93FC-0C247A3E6E5F",
             "{621E1F8-C36C-495A-93FC-0C247A3E6E5F",
         }) {
        EXPECT_FALSE(UUID::fromText(text)) << text;
    }
    EXPECT_FALSE(UUID::fromText(std::string_view("E621E1F8-C36C-495A-93FC-0C247A3E6E5\0", 36)));
}

TEST(UUIDTests, RandomIdentifiersAreVersionFourAndDistinct) {
    std::unordered_set<UUID> seen;
    for (int index = 0; index < 1000; ++index) {
        const UUID id = UUID::random();
        EXPECT_EQ(id.bytes()[6] >> 4, 4);
        EXPECT_EQ(id.bytes()[8] >> 6, 2);
        EXPECT_EQ(UUID::fromText(id.text()), id);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace tallowbeck
