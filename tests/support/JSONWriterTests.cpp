#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {
namespace {

TEST(JSONWriterTests, WritesNestedContainersCompactlyWithCommasOnlyBetweenSiblings) {
    JSONWriter json;
    json.beginObject()
        .key("a")
        .value(std::int64_t{1})
        .key("list")
        .beginArray()
        .value(true)
        .value(false)
        .beginObject()
        .endObject()
        .beginArray()
        .endArray()
        .endArray()
        .key("b")
        .null()
        .endObject();
    EXPECT_EQ(json.text(), R"({"a":1,"list":[true,false,{},[]],"b":null})");
}

TEST(JSONWriterTests, DoublesUseTheShortestTextThatReadsBackTheSame) {
    JSONWriter json;
    json.beginArray().value(0.1).value(36.005).value(-0.5).value(1e21).value(3.0).endArray();
    EXPECT_EQ(json.text(), "[0.1,36.005,-0.5,1e+21,3]");
}

TEST(JSONWriterTests, NonFiniteDoublesBecomeNull) {
    JSONWriter json;
    json.beginArray().value(std::numeric_limits<double>::infinity()).value(std::nan("")).endArray();
    EXPECT_EQ(json.text(), "[null,null]");
}

TEST(JSONWriterTests, NumberTextIsWrittenAsItStands) {
    JSONWriter json;
    json.beginArray().numberText("-978307199.90000000000000000001").numberText("1e400").endArray();
    EXPECT_EQ(json.text(), "[-978307199.90000000000000000001,1e400]");
}

TEST(JSONWriterTests, IntegersKeepTheirFullRange) {
    JSONWriter json;
    json.beginArray()
        .value(std::numeric_limits<std::uint64_t>::max())
        .value(std::numeric_limits<std::int64_t>::min())
        .endArray();
    EXPECT_EQ(json.text(), "[18446744073709551615,-9223372036854775808]");
}

TEST(JSONWriterTests, EscapesQuotesBackslashesAndControlCharacters) {
    JSONWriter json;
    json.value(std::string_view("q\"b\\n\n t\t\x01\x1f é"));
    EXPECT_EQ(json.text(), R"("q\"b\\n\n t\t\u0001\u001f é")");
}

TEST(JSONWriterTests, OptionalMemberIsLeftOutWhenAbsent) {
    JSONWriter json;
    json.beginObject()
        .optionalMember("absent", std::optional<double>{})
        .optionalMember("present", std::optional<double>{2.5})
        .endObject();
    EXPECT_EQ(json.text(), R"({"present":2.5})");
}

}  // namespace
}  // namespace tallowbeck
