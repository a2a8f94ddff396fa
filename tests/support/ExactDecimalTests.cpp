#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "TallowbeckCore/support/ExactDecimal.hpp"

namespace tallowbeck {
namespace {

std::string parsedText(std::string_view number) {
    const std::optional<ExactDecimal> parsed = ExactDecimal::parse(number);
    return parsed ? parsed->text() : "not a number";
}

std::string sum(std::string_view number, std::int64_t whole) {
    return ExactDecimal::parse(number)->plus(whole).text();
}

std::optional<double> nearest(std::string_view number) {
    return ExactDecimal::parse(number)->nearestDouble();
}

TEST(ExactDecimalTests, ReadsEveryFormOfJSONNumber) {
    EXPECT_EQ(parsedText("0"), "0");
    EXPECT_EQ(parsedText("-0"), "-0");
    EXPECT_EQ(parsedText("100"), "100");
    EXPECT_EQ(parsedText("-12.50"), "-12.5");
    EXPECT_EQ(parsedText("0.000125"), "0.000125");
    EXPECT_EQ(parsedText("1.5e3"), "1500");
    EXPECT_EQ(parsedText("9999999999999999999"), "9999999999999999999");
    EXPECT_EQ(parsedText("1.5E+3"), "1500");
    EXPECT_EQ(parsedText("25e-4"), "0.0025");
    EXPECT_EQ(parsedText("123456789012345678901234567890.123456789"),
              "123456789012345678901234567890.123456789");
}

TEST(ExactDecimalTests, WholeNumbersBeyondNineteenDigitsAreWrittenWithAnExponent) {
    EXPECT_EQ(parsedText("10000000000000000000"), "1e19");
    EXPECT_EQ(parsedText("12345678901234567890123"), "12345678901234567890123e0");
    EXPECT_EQ(parsedText("-1.7976931348623157e308"), "-17976931348623157e292");
}

TEST(ExactDecimalTests, RefusesWhatIsNoJSONNumber) {
    for (const std::string_view text : {"", "-", "+1", "01", "1.", ".5", "1e", "1e+", "0x10", "1 ",
                                        " 1", "1.5.2", "NaN", "Infinity", "1e5x"}) {
        EXPECT_EQ(ExactDecimal::parse(text), std::nullopt) << text;
    }
}

TEST(ExactDecimalTests, AValueBeyondEveryDoubleByFarIsRefusedAndATinyOneIsZero) {
    EXPECT_EQ(ExactDecimal::parse("1e401"), std::nullopt);
    EXPECT_EQ(ExactDecimal::parse("1e999999999999999999999"), std::nullopt);
    EXPECT_EQ(parsedText("1e-1101"), "0");
    EXPECT_EQ(parsedText("-1e-999999999999999999999"), "-0");
    EXPECT_EQ(parsedText("0e999999999999999999999"), "0");
}

TEST(ExactDecimalTests, AddingAWholeNumberIsExact) {
    EXPECT_EQ(sum("0.1", -978307200), "-978307199.9");
    EXPECT_EQ(sum("-978307199.9", 978307200), "0.1");
    EXPECT_EQ(sum("5e-20", -1), "-0.99999999999999999995");
    EXPECT_EQ(sum("-2.5", 2), "-0.5");
    EXPECT_EQ(sum("2.5", -2), "0.5");
    EXPECT_EQ(sum("999", 1), "1000");
    EXPECT_EQ(sum("1e30", 7), "1000000000000000000000000000007e0");
    EXPECT_EQ(sum("-7", 7), "0");
    EXPECT_EQ(sum("0", -3), "-3");
    EXPECT_EQ(sum("0.5", 0), "0.5");
}

TEST(ExactDecimalTests, TheLowestWholeNumberCanBeAdded) {
    EXPECT_EQ(sum("0.5", std::numeric_limits<std::int64_t>::min()), "-9223372036854775807.5");
}

TEST(ExactDecimalTests, TheNearestDoubleIsCorrectlyRounded) {
    EXPECT_EQ(nearest("0.1"), 0.1);
    EXPECT_EQ(nearest("-0"), -0.0);
    EXPECT_TRUE(std::signbit(*nearest("-0")));
    // Halfway between 2^53 and 2^53 + 2, which rounds to the even one.
    EXPECT_EQ(nearest("9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(nearest("9007199254740993.000000000000000000001"), 9007199254740994.0);
    EXPECT_EQ(nearest("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(nearest("1e-400"), 0.0);
    EXPECT_EQ(nearest("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(nearest("1.8e308"), std::nullopt);
    EXPECT_EQ(nearest("-1e400"), std::nullopt);
}

TEST(ExactDecimalTests, TheShortestFormOfADoubleReadsBackAsIt) {
    for (const double value : {0.1, -1234.5678, 1e300, std::numeric_limits<double>::denorm_min(),
                               std::numeric_limits<double>::max(), -0.0}) {
        const ExactDecimal shortest = ExactDecimal::shortest(value);
        EXPECT_EQ(shortest.nearestDouble(), value) << shortest.text();
        EXPECT_EQ(ExactDecimal::parse(shortest.text())->nearestDouble(), value) << value;
    }
    EXPECT_EQ(ExactDecimal::shortest(0.1).text(), "0.1");
    EXPECT_EQ(ExactDecimal::shortest(100.0).text(), "100");
}

TEST(ExactDecimalTests, OnlyAFiniteDoubleHasAShortestForm) {
    EXPECT_THROW(ExactDecimal::shortest(std::numeric_limits<double>::infinity()),
                 std::invalid_argument);
    EXPECT_THROW(ExactDecimal::shortest(std::numeric_limits<double>::quiet_NaN()),
                 std::invalid_argument);
}

}  // namespace
}  // namespace tallowbeck
