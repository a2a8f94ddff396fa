#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "TallowbeckCore/support/JSONNumberText.hpp"

namespace tallowbeck {
namespace {

using JSONNumberText::ofMember;

TEST(JSONNumberTextTests, GivesTheDigitsAsWritten) {
    EXPECT_EQ(ofMember(R"({"a":1,"t":-978307199.90000000000000000001,"b":2})", "t"),
              "-978307199.90000000000000000001");
    EXPECT_EQ(ofMember(R"({"t":123456789012345678901})", "t"), "123456789012345678901");
    EXPECT_EQ(ofMember("{ \"t\" : 1.5e-3 \n , \"b\":true}", "t"), "1.5e-3");
    EXPECT_EQ(ofMember("{\"t\":7}", "t"), "7");
}

TEST(JSONNumberTextTests, MatchesTheKeyExactlyAfterUnescaping) {
    EXPECT_EQ(ofMember(R"({"T":1,"t\u0031":2,"t1":3})", "t1"), "2");
    EXPECT_EQ(ofMember(R"({"T":1})", "t"), std::nullopt);
}

TEST(JSONNumberTextTests, LooksOnlyAtTheObjectsOwnMembers) {
    EXPECT_EQ(ofMember(R"({"inner":{"t":1},"t":2})", "t"), "2");
    EXPECT_EQ(ofMember(R"({"inner":{"t":1}})", "t"), std::nullopt);
}

TEST(JSONNumberTextTests, GivesNothingForAnythingButANumber) {
    EXPECT_EQ(ofMember(R"({"t":"1"})", "t"), std::nullopt);
    EXPECT_EQ(ofMember(R"({"t":null})", "t"), std::nullopt);
    EXPECT_EQ(ofMember(R"({"t":[1]})", "t"), std::nullopt);
    EXPECT_EQ(ofMember(R"([{"t":1}])", "t"), std::nullopt);
    EXPECT_EQ(ofMember("", "t"), std::nullopt);
}

}  // namespace
}  // namespace tallowbeck
