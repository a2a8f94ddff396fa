#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/TerminalChart.hpp"

namespace tallowbeck {
namespace {

using cli::TerminalChart;
using ::testing::HasSubstr;
using ::testing::Not;

// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;
constexpr double minute = 60;

std::vector<TemperatureSample> warmingHour() {
    std::vector<TemperatureSample> samples;
    for (int index = 0; index <= 60; ++index) {
        samples.emplace_back(
            UUID::random(), noon + index * minute, 30.0 + index / 3.0, 55.0, std::nullopt,
            index >= 40 ? SystemThermalState::serious : SystemThermalState::nominal, index < 30,
            false);
    }
    return samples;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Characters on the screen, not bytes: UTF-8 continuation bytes take no column.
std::size_t screenWidth(const std::string& line) {
    std::size_t width = 0;
    for (const char byte : line) {
        width += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1U : 0U;
    }
    return width;
}

// What follows the temperature axis on a row of the plot.
std::string plotPart(const std::string& line) {
    for (const std::string_view axis : {"┤", "│"}) {
        if (const std::size_t at = line.find(axis); at != std::string::npos) {
            return line.substr(at + axis.size());
        }
    }
    return {};
}

TEST(TerminalChartTests, FillsTheGivenWidthAndNoMore) {
    const auto samples = warmingHour();
    for (const std::size_t width : {40U, 80U, 132U}) {
        const auto lines =
            linesOf(TerminalChart::text(samples, noon, noon + 60 * minute, width, false));
        std::size_t widest = 0;
        for (const std::string& line : lines) {
            EXPECT_LT(screenWidth(line), width) << line;
            widest = std::max(widest, screenWidth(line));
        }
        EXPECT_EQ(widest, width - 1);
    }
}

TEST(TerminalChartTests, DrawsEachSeriesWithItsMarkAndTheStatesBelow) {
    const auto samples = warmingHour();
    const auto lines = linesOf(TerminalChart::text(samples, noon, noon + 60 * minute, 80, false));
    ASSERT_GT(lines.size(), TerminalChart::plotRows);
    // The battery rises from a low row at the left to a high one at the right; the CPU stays
    // on one row.
    std::optional<std::size_t> batteryFirstRow;
    std::optional<std::size_t> batteryLastRow;
    std::size_t cpuRows = 0;
    for (std::size_t row = 0; row < TerminalChart::plotRows; ++row) {
        const std::string plot = plotPart(lines[row]);
        ASSERT_EQ(screenWidth(plot), 80U - 9U) << lines[row];
        batteryFirstRow = plot.front() == '*' ? row : batteryFirstRow;
        batteryLastRow = plot.back() == '*' ? row : batteryLastRow;
        cpuRows += plot.find('+') != std::string::npos ? 1U : 0U;
    }
    ASSERT_TRUE(batteryFirstRow && batteryLastRow);
    EXPECT_GT(*batteryFirstRow, *batteryLastRow + 5);
    EXPECT_EQ(cpuRows, 1U);
    const std::string text = TerminalChart::text(samples, noon, noon + 60 * minute, 80, false);
    EXPECT_THAT(text, HasSubstr("▒"));
    EXPECT_THAT(text, HasSubstr("━"));
    EXPECT_THAT(text, HasSubstr("* Battery"));
}

TEST(TerminalChartTests, UsesEscapeSequencesOnlyWhenAskedForColour) {
    const auto samples = warmingHour();
    EXPECT_THAT(TerminalChart::text(samples, noon, noon + 60 * minute, 80, true),
                HasSubstr("\x1b[32m*\x1b[0m"));
    EXPECT_THAT(TerminalChart::text(samples, noon, noon + 60 * minute, 80, false),
                Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace tallowbeck
