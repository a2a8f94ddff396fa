#include <gtest/gtest.h>

#include <string>

#include "TallowbeckCore/support/JSONObject.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::thrown;

double numberIn(const std::string& json, const char* key = "n") {
    simdjson::dom::parser parser;
    return JSONObject::parse(parser, json).requiredNumber(key);
}

TEST(JSONObjectTests, AnIntegerBeyond64BitsReadsAsTheNearestDouble) {
    EXPECT_EQ(numberIn(R"({"n":123456789012345678901})"), 1.2345678901234568e20);
    EXPECT_EQ(numberIn(R"({"n":-123456789012345678901})"), -1.2345678901234568e20);
    EXPECT_EQ(numberIn(R"({"n":-9223372036854775809})"), -9223372036854775808.0);
    EXPECT_EQ(numberIn(R"({"n":1234567890123456789012345678901234567890})"), 1.2345678901234568e39);
}

TEST(JSONObjectTests, TheSameNumberReadsAlikeWithOrWithoutAnExponent) {
    EXPECT_EQ(numberIn(R"({"n":123456789012345678901})"),
              numberIn(R"({"n":1.23456789012345678901e20})"));
}

TEST(JSONObjectTests, OtherNumbersOfTheSameTextReadAsBefore) {
    const std::string json =
        R"({"big":123456789012345678901,"small":7,"negative":-3,"fraction":0.5,"power":2e3})";
    simdjson::dom::parser parser;
    const JSONObject object = JSONObject::parse(parser, json);
    EXPECT_EQ(object.requiredNumber("big"), 1.2345678901234568e20);
    EXPECT_EQ(object.requiredNumber("small"), 7.0);
    EXPECT_EQ(object.requiredNumber("negative"), -3.0);
    EXPECT_EQ(object.requiredNumber("fraction"), 0.5);
    EXPECT_EQ(object.requiredNumber("power"), 2000.0);
}

TEST(JSONObjectTests, IntegersThatFitStayIntegersBesideOneThatDoesNot) {
    const std::string json =
        R"({"id":7,"big":123456789012345678901,"negative":-3,"largest":18446744073709551615})";
    simdjson::dom::parser parser;
    const JSONObject object = JSONObject::parse(parser, json);
    EXPECT_EQ(object.requiredInteger("id"), 7);
    EXPECT_EQ(object.requiredInteger("negative"), -3);
    EXPECT_EQ(object.requiredNumber("largest"), 18446744073709551615.0);
    EXPECT_EQ(object.requiredNumber("big"), 1.2345678901234568e20);
}

TEST(JSONObjectTests, DigitsInsideStringsStayAsTheyAre) {
    const std::string json =
        R"({"s":"12345678901234567890123 \" 42","k\"1":"9","n":123456789012345678901})";
    simdjson::dom::parser parser;
    const JSONObject object = JSONObject::parse(parser, json);
    EXPECT_EQ(object.requiredString("s"), "12345678901234567890123 \" 42");
    EXPECT_EQ(object.requiredString("k\"1"), "9");
    EXPECT_EQ(object.requiredNumber("n"), 1.2345678901234568e20);
}

TEST(JSONObjectTests, ANumberBeyondTheRangeOfDoublesAndMalformedNumbersStillFail) {
    for (const char* json :
         {R"({"n":1e400})", R"({"n":01})", R"({"n":-})", R"({"n":123456789012345678901x})"}) {
        const auto error = thrown<DecodingError>([&] { numberIn(json); });
        ASSERT_TRUE(error.has_value()) << json;
        EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted) << json;
    }
}

}  // namespace
}  // namespace tallowbeck
