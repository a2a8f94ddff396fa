#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "cli/CommandOptions.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t largestPID = std::numeric_limits<std::int32_t>::max();

// `text` given to an option "--number" of type `Number` that takes whole numbers from 2 to the
// largest process id, read as CLI11 reads a command line.
template <typename Number>
Number parsed(const std::string& text) {
    CLI::App app;
    Number number{};
    app.add_option("--number", number)->transform(cli::decimalWholeNumber(2, largestPID));
    app.parse(std::vector<std::string>{text, "--number"});
    return number;
}

TEST(CommandOptionsTests, WholeNumbersAreDecimalWhateverTheirLeadingZeros) {
    EXPECT_EQ(parsed<std::int64_t>("123"), 123);
    EXPECT_EQ(parsed<std::int64_t>("0123"), 123);
    EXPECT_EQ(parsed<std::int64_t>("010"), 10);
    EXPECT_EQ(parsed<std::int64_t>("0009"), 9);
    EXPECT_EQ(parsed<std::optional<std::int32_t>>("00524287"), 524287);
    EXPECT_EQ(parsed<std::optional<std::int32_t>>("2147483647"), 2147483647);
}

TEST(CommandOptionsTests, WholeNumbersInAnyOtherFormAreRefusedNamingTheText) {
    for (const std::string text : {"0x10", "0X7FFFF", "0b1", "0B11", "1e3", "+5", "-5", "5.0",
                                   "12a", " 5", "5 ", "", "0o7", "1'000", "٣"}) {
        try {
            parsed<std::int64_t>(text);
            ADD_FAILURE() << text << " was taken";
        } catch (const CLI::ValidationError& error) {
            EXPECT_THAT(error.what(), HasSubstr("--number: " + text + " is not")) << text;
        }
    }
}

TEST(CommandOptionsTests, WholeNumbersOutsideTheRangeAreRefused) {
    for (const std::string text : {"0", "1", "01", "2147483648", "99999999999999999999"}) {
        EXPECT_THROW(parsed<std::int64_t>(text), CLI::ValidationError) << text;
    }
}

}  // namespace
}  // namespace tallowbeck
