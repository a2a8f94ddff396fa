#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "TallowbeckCore/support/OnDemandJSONObject.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = DecodingError::Kind;
using testing::thrown;

// The first item of a JSON array, walked as a history's snapshot is.
class FirstItem {
public:
    explicit FirstItem(const std::string& array) : json_(array) {
        document_ = parser_.iterate(json_);
        simdjson::ondemand::array items = document_.get_array();
        item_ = *items.begin();
    }

    OnDemandJSONObject object() { return OnDemandJSONObject::from(item_, "an item"); }

private:
    simdjson::padded_string json_;
    simdjson::ondemand::parser parser_;
    simdjson::ondemand::document document_;
    simdjson::ondemand::value item_;
};

TEST(OnDemandJSONObjectTests, ReadsEachTypeAndTellsMissingFromNull) {
    FirstItem item(R"([{"s":"text","b":true,"n":-2.5e1,"null":null}])");
    const OnDemandJSONObject object = item.object();
    EXPECT_EQ(object.requiredString("s"), "text");
    EXPECT_EQ(object.requiredBool("b"), true);
    EXPECT_EQ(object.optionalNumber("n"), -25.0);
    EXPECT_EQ(object.optionalNumber("null"), std::nullopt);
    EXPECT_EQ(object.optionalBool("missing"), std::nullopt);
}

TEST(OnDemandJSONObjectTests, ARequiredMemberThatIsMissingOrNullIsNamed) {
    FirstItem item(R"([{"null":null}])");
    const OnDemandJSONObject object = item.object();
    const auto missing = thrown<DecodingError>([&] { object.requiredString("absent"); });
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->kind(), Kind::keyNotFound);
    EXPECT_EQ(missing->key(), "absent");
    const auto null = thrown<DecodingError>([&] { object.requiredBool("null"); });
    ASSERT_TRUE(null);
    EXPECT_EQ(null->kind(), Kind::valueNotFound);
    EXPECT_EQ(null->key(), "null");
}

TEST(OnDemandJSONObjectTests, AValueOfAnotherTypeIsNamedWithTheTypeExpected) {
    FirstItem item(R"([{"n":"30"}])");
    const auto error = thrown<DecodingError>([&] { item.object().optionalNumber("n"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), Kind::typeMismatch);
    EXPECT_STREQ(error->what(), "\"n\": expected a number");
}

TEST(OnDemandJSONObjectTests, AnIntegerBeyond64BitsReadsAsTheNearestDouble) {
    FirstItem item(R"([{"big":123456789012345678901,"negative":-9223372036854775809}])");
    const OnDemandJSONObject object = item.object();
    EXPECT_EQ(object.optionalNumber("big"), 1.2345678901234568e20);
    EXPECT_EQ(object.optionalNumber("negative"), -9223372036854775808.0);
}

TEST(OnDemandJSONObjectTests, MembersAreFoundInAnyOrder) {
    FirstItem item(R"([{"a":1,"b":2,"c":3}])");
    const OnDemandJSONObject object = item.object();
    EXPECT_EQ(object.optionalNumber("c"), 3.0);
    EXPECT_EQ(object.optionalNumber("a"), 1.0);
    EXPECT_EQ(object.optionalNumber("b"), 2.0);
}

TEST(OnDemandJSONObjectTests, AnItemThatIsNoObjectSaysWhatItIs) {
    FirstItem item("[[1]]");
    const auto error = thrown<DecodingError>([&] { item.object(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), Kind::typeMismatch);
    EXPECT_STREQ(error->what(), "an item is not a JSON object");
}

// What the walk gives up for its speed, as the header says.
TEST(OnDemandJSONObjectTests, MembersNotAskedForAreSkippedUnchecked) {
    FirstItem item(R"([{"future":tru,"n":1}])");
    EXPECT_EQ(item.object().optionalNumber("n"), 1.0);
}

TEST(OnDemandJSONObjectTests, KeysAreComparedAsWritten) {
    FirstItem item(R"([{"\u006e":1}])");
    EXPECT_EQ(item.object().optionalNumber("n"), std::nullopt);
}

}  // namespace
}  // namespace tallowbeck
