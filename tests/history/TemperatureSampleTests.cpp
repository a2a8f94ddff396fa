#include <gtest/gtest.h>
#include <simdjson.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/OnDemandJSONObject.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = DecodingError::Kind;
using testing::thrown;

constexpr std::string_view idText = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;

TemperatureSample sample(double recordedAt, std::optional<double> battery) {
    return TemperatureSample(*UUID::fromText(idText), recordedAt, battery, 61.5, std::nullopt,
                             SystemThermalState::fair, true, false);
}

// A valid sample object, less the member `without`, plus the members in `extra`.
std::string objectText(std::string_view without = "", std::string_view extra = "") {
    std::string text = "{";
    const auto add = [&](std::string_view key, std::string_view value) {
        if (key != without) {
            text += '"' + std::string(key) + "\":" + std::string(value) + ',';
        }
    };
    add("id", "\"e621e1f8-c36c-495a-93fc-0c247a3e6e5f\"");
    add("recordedAt", "\"2024-05-01T12:00:00Z\"");
    add("batteryCelsius", "30.5");
    add("thermalState", "\"serious\"");
    add("sessionActive", "true");
    add("lidClosed", "true");
    text += extra;
    if (text.back() == ',') {
        text.pop_back();
    }
    return text + "}";
}

std::optional<DecodingError> decodingError(std::string_view text) {
    return thrown<DecodingError>([&] { TemperatureSample::fromJSON(text); });
}

// The object as a whole document, read by the on-demand parser, as the history's snapshot is.
TemperatureSample decodedOnDemand(std::string_view text) {
    simdjson::ondemand::parser parser;
    const simdjson::padded_string json(text);
    simdjson::ondemand::document document = parser.iterate(json);
    return TemperatureSample::fromJSON(OnDemandJSONObject(document.get_object()));
}

struct Decoder {
    const char* name;
    TemperatureSample (*decode)(std::string_view text);
};

// Every object decodes alike through both parsers: the tree one that journal lines and single
// samples go through, and the on-demand one that the snapshot goes through.
class TemperatureSampleDecodingTests : public ::testing::TestWithParam<Decoder> {
protected:
    static TemperatureSample decode(std::string_view text) { return GetParam().decode(text); }

    static void expectDecodingError(std::string_view text, Kind kind, std::string_view key) {
        const std::optional<DecodingError> error = thrown<DecodingError>([&] { decode(text); });
        ASSERT_TRUE(error) << text;
        EXPECT_EQ(error->kind(), kind) << text;
        EXPECT_EQ(error->key(), key) << text;
    }
};

INSTANTIATE_TEST_SUITE_P(BothParsers, TemperatureSampleDecodingTests,
                         ::testing::Values(Decoder{"Tree",
                                                   [](std::string_view text) {
                                                       return TemperatureSample::fromJSON(text);
                                                   }},
                                           Decoder{"OnDemand", decodedOnDemand}),
                         [](const ::testing::TestParamInfo<Decoder>& decoder) {
                             return std::string(decoder.param.name);
                         });

TEST(TemperatureSampleTests, EqualityComparesEveryField) {
    const TemperatureSample original = sample(noon, 30.0);
    EXPECT_EQ(original, sample(noon, 30.0));
    EXPECT_NE(original, sample(noon + 1.0, 30.0));
    EXPECT_NE(original, sample(noon, std::nullopt));
    const TemperatureSample otherID(UUID::random(), noon, 30.0, 61.5, std::nullopt,
                                    SystemThermalState::fair, true, false);
    EXPECT_NE(original, otherID);
}

TEST(TemperatureSampleTests, EncodesEveryPresentFieldUnderItsName) {
    const TemperatureSample full(*UUID::fromText(idText), noon, 30.25, 61.5, 48.0,
                                 SystemThermalState::critical, false, true);
    EXPECT_EQ(full.json(),
              "{\"id\":\"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\","
              "\"recordedAt\":\"2024-05-01T12:00:00Z\",\"batteryCelsius\":30.25,"
              "\"cpuCelsius\":61.5,\"gpuCelsius\":48,\"thermalState\":\"critical\","
              "\"sessionActive\":false,\"lidClosed\":true}");
}

TEST_P(TemperatureSampleDecodingTests, AbsentTemperaturesHaveNoKeyAtAll) {
    const TemperatureSample bare(*UUID::fromText(idText), noon, std::nullopt, std::nullopt,
                                 std::nullopt, SystemThermalState::nominal, true, false);
    const std::string json = bare.json();
    EXPECT_EQ(json.find("Celsius"), std::string::npos) << json;
    EXPECT_EQ(json.find("null"), std::string::npos) << json;
    EXPECT_EQ(decode(json), bare);
}

TEST_P(TemperatureSampleDecodingTests, NullOrMissingBatteryDecodesAsAbsent) {
    EXPECT_FALSE(decode(objectText("batteryCelsius")).batteryCelsius());
    const TemperatureSample nulled =
        decode(objectText("batteryCelsius", "\"batteryCelsius\":null"));
    EXPECT_FALSE(nulled.batteryCelsius());
    EXPECT_EQ(nulled.json().find("batteryCelsius"), std::string::npos);
}

TEST_P(TemperatureSampleDecodingTests, DecodesEveryField) {
    const TemperatureSample decoded =
        decode(objectText("", "\"cpuCelsius\":70,\"gpuCelsius\":-1.5e1"));
    EXPECT_EQ(decoded.id().text(), idText);
    EXPECT_EQ(decoded.recordedAt(), noon);
    EXPECT_EQ(decoded.batteryCelsius(), 30.5);
    EXPECT_EQ(decoded.cpuCelsius(), 70.0);
    EXPECT_EQ(decoded.gpuCelsius(), -15.0);
    EXPECT_EQ(decoded.thermalState(), SystemThermalState::serious);
    EXPECT_TRUE(decoded.sessionActive());
    EXPECT_TRUE(decoded.lidClosed());
}

TEST_P(TemperatureSampleDecodingTests, MissingOrNullLidClosedReadsAsFalse) {
    EXPECT_FALSE(decode(objectText("lidClosed")).lidClosed());
    EXPECT_FALSE(decode(objectText("lidClosed", "\"lidClosed\":null")).lidClosed());
}

TEST_P(TemperatureSampleDecodingTests, MissingSessionActiveFails) {
    expectDecodingError(objectText("sessionActive"), Kind::keyNotFound, "sessionActive");
    expectDecodingError(objectText("sessionActive", "\"sessionActive\":null"), Kind::valueNotFound,
                        "sessionActive");
}

TEST_P(TemperatureSampleDecodingTests, EveryRequiredKeyIsRequired) {
    for (const std::string_view key : {"id", "recordedAt", "thermalState", "sessionActive"}) {
        expectDecodingError(objectText(key), Kind::keyNotFound, key);
    }
}

TEST_P(TemperatureSampleDecodingTests, TheFirstBadMemberInFieldOrderIsNamed) {
    expectDecodingError("{\"thermalState\":1}", Kind::keyNotFound, "id");
    expectDecodingError(
        "{\"id\":\"e621e1f8-c36c-495a-93fc-0c247a3e6e5f\",\"recordedAt\":\"2024-05-01T12:00:00Z\","
        "\"thermalState\":\"hot\"}",
        Kind::dataCorrupted, "thermalState");
}

TEST_P(TemperatureSampleDecodingTests, ARepeatedKeyGivesItsFirstValueInAnyOrder) {
    EXPECT_EQ(decode(objectText("", "\"batteryCelsius\":99")).batteryCelsius(), 30.5);
    const std::string reordered =
        "{\"batteryCelsius\":1,\"batteryCelsius\":2," + objectText("batteryCelsius").substr(1);
    EXPECT_EQ(decode(reordered).batteryCelsius(), 1.0);
}

TEST_P(TemperatureSampleDecodingTests, ThermalStateMustBeOneOfTheExactTexts) {
    expectDecodingError(objectText("thermalState", "\"thermalState\":\"Nominal\""),
                        Kind::dataCorrupted, "thermalState");
    EXPECT_EQ(decode(objectText("thermalState", "\"thermalState\":\"nominal\"")).thermalState(),
              SystemThermalState::nominal);
}

TEST_P(TemperatureSampleDecodingTests, WrongJSONTypesFailNamingTheKey) {
    expectDecodingError(objectText("id", "\"id\":7"), Kind::typeMismatch, "id");
    expectDecodingError(objectText("recordedAt", "\"recordedAt\":1714564800"), Kind::typeMismatch,
                        "recordedAt");
    expectDecodingError(objectText("batteryCelsius", "\"batteryCelsius\":\"30\""),
                        Kind::typeMismatch, "batteryCelsius");
    expectDecodingError(objectText("batteryCelsius", "\"batteryCelsius\":true"), Kind::typeMismatch,
                        "batteryCelsius");
    expectDecodingError(objectText("sessionActive", "\"sessionActive\":1"), Kind::typeMismatch,
                        "sessionActive");
    expectDecodingError(objectText("lidClosed", "\"lidClosed\":\"false\""), Kind::typeMismatch,
                        "lidClosed");
    expectDecodingError(objectText("thermalState", "\"thermalState\":[]"), Kind::typeMismatch,
                        "thermalState");
}

TEST_P(TemperatureSampleDecodingTests, UnreadableIdentifiersAndDatesFail) {
    expectDecodingError(objectText("id", "\"id\":\"not-a-uuid\""), Kind::dataCorrupted, "id");
    expectDecodingError(objectText("recordedAt", "\"recordedAt\":\"2024-05-01 12:00:00\""),
                        Kind::dataCorrupted, "recordedAt");
    expectDecodingError(objectText("recordedAt", "\"recordedAt\":\"2024-05-01T12:00:00.5Z\""),
                        Kind::dataCorrupted, "recordedAt");
}

TEST_P(TemperatureSampleDecodingTests, AValueThatIsNotJSONIsMalformedText) {
    for (const auto& [key, value] :
         std::vector<std::pair<std::string_view, std::string_view>>{{"batteryCelsius", "nul"},
                                                                    {"batteryCelsius", "-"},
                                                                    {"batteryCelsius", "1.2.3"},
                                                                    {"batteryCelsius", "1e400"},
                                                                    {"sessionActive", "tru"},
                                                                    {"lidClosed", "fals"}}) {
        const std::string text =
            objectText(key, '"' + std::string(key) + "\":" + std::string(value));
        expectDecodingError(text, Kind::dataCorrupted, "");
    }
}

TEST(TemperatureSampleTests, MalformedTextFailsAsAWhole) {
    for (const std::string_view text : {"", "{", "[]", "null", "{\"id\":}", "{} {}", "\xff"}) {
        const std::optional<DecodingError> error = decodingError(text);
        ASSERT_TRUE(error) << text;
        EXPECT_TRUE(error->key().empty()) << text;
    }
}

TEST_P(TemperatureSampleDecodingTests, ErrorMessagesNameTheKey) {
    const std::optional<DecodingError> error =
        thrown<DecodingError>([] { decode(objectText("sessionActive")); });
    ASSERT_TRUE(error);
    EXPECT_STREQ(error->what(), "\"sessionActive\": required key is missing");
}

TEST_P(TemperatureSampleDecodingTests, UnknownKeysAndAnyKeyOrderAreAccepted) {
    const TemperatureSample decoded = decode(
        "{\"lidClosed\":false,\"future\":{\"a\":[1,2]},\"sessionActive\":false,"
        "\"thermalState\":\"fair\",\"recordedAt\":\"2024-05-01T12:00:00Z\","
        "\"id\":\"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\"}");
    EXPECT_EQ(decoded.thermalState(), SystemThermalState::fair);
    EXPECT_FALSE(decoded.sessionActive());
}

TEST_P(TemperatureSampleDecodingTests, KeysAreCaseSensitive) {
    expectDecodingError(objectText("sessionActive", "\"SessionActive\":true"), Kind::keyNotFound,
                        "sessionActive");
}

TEST_P(TemperatureSampleDecodingTests, RoundTripTruncatesTheFractionOfASecond) {
    const TemperatureSample original = sample(noon + 0.75, 30.0);
    const TemperatureSample decoded = decode(original.json());
    EXPECT_EQ(decoded.recordedAt(), noon);
    EXPECT_NE(decoded, original);
    EXPECT_EQ(decoded.id(), original.id());
}

TEST_P(TemperatureSampleDecodingTests, RoundTripKeepsEveryOtherFieldExactly) {
    const TemperatureSample original(UUID::random(), noon, 0.1 + 0.2, 1.0 / 3.0, 99.99999999999,
                                     SystemThermalState::serious, true, true);
    EXPECT_EQ(decode(original.json()), original);
}

TEST(TemperatureSampleTests, DateThatCannotBeWrittenIsAnError) {
    EXPECT_THROW(sample(std::numeric_limits<double>::infinity(), 30.0).json(), std::out_of_range);
}

TEST(TemperatureSampleTests, DecodesFromAnElementOfALargerDocument) {
    simdjson::dom::parser parser;
    const std::string text = "[" + objectText() + "," + objectText("lidClosed") + "]";
    simdjson::dom::array items = parser.parse(text).get_array();
    std::vector<TemperatureSample> samples;
    for (const simdjson::dom::element item : items) {
        samples.push_back(TemperatureSample::fromJSON(JSONObject::from(item, "an item")));
    }
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_TRUE(samples[0].lidClosed());
    EXPECT_FALSE(samples[1].lidClosed());
}

TEST_P(TemperatureSampleDecodingTests, ATemperatureThatIsNotAFiniteNumberIsAbsent) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const TemperatureSample made(*UUID::fromText(idText), noon, nan, infinity, -infinity,
                                 SystemThermalState::fair, true, false);
    EXPECT_EQ(made.batteryCelsius(), std::nullopt);
    EXPECT_EQ(made.cpuCelsius(), std::nullopt);
    EXPECT_EQ(made.gpuCelsius(), std::nullopt);
    EXPECT_EQ(made, TemperatureSample(*UUID::fromText(idText), noon, std::nullopt, std::nullopt,
                                      std::nullopt, SystemThermalState::fair, true, false));
    EXPECT_EQ(decode(made.json()), made);
}

TEST(TemperatureSampleTests, FiniteTemperaturesStayAsGiven) {
    const TemperatureSample made(*UUID::fromText(idText), noon, -0.5, 1e300, 0.0,
                                 SystemThermalState::fair, true, false);
    EXPECT_EQ(made.batteryCelsius(), -0.5);
    EXPECT_EQ(made.cpuCelsius(), 1e300);
    EXPECT_EQ(made.gpuCelsius(), 0.0);
}

TEST_P(TemperatureSampleDecodingTests, AsWrittenIsWhatTheJSONFormReadsBack) {
    for (const double recordedAt : {noon, noon + 0.75, -0.25, -62167219200.0}) {
        const TemperatureSample original = sample(recordedAt, 30.25);
        EXPECT_EQ(original.asWritten(), decode(original.json())) << recordedAt;
    }
    EXPECT_EQ(sample(noon + 0.75, 30.25).asWritten().recordedAt(), noon);
    EXPECT_EQ(sample(-0.25, 30.25).asWritten().recordedAt(), -1.0);
}

}  // namespace
}  // namespace tallowbeck
