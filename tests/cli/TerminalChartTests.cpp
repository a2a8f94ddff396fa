#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/TerminalChart.hpp"
#include "tests/testing/FileContents.hpp"

namespace tallowbeck {
namespace {

using testing::linesOf;

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

// Standard output turned to another open file while it exists, and that file closed after.
// Nothing the test prints meanwhile reaches the real standard output.
class RedirectedOutput {
public:
    explicit RedirectedOutput(int descriptor)
        : saved_(::dup(STDOUT_FILENO)),
          ready_(descriptor >= 0 && ::dup2(descriptor, STDOUT_FILENO) == STDOUT_FILENO) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
    ~RedirectedOutput() {
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
    }
    RedirectedOutput(const RedirectedOutput&) = delete;
    RedirectedOutput& operator=(const RedirectedOutput&) = delete;

    bool ready() const { return ready_; }

private:
    int saved_;
    bool ready_;
};

struct OutputTraits {
    bool ready;
    std::size_t width;
    bool colour;
};

OutputTraits traitsOf(int descriptor) {
    const RedirectedOutput output(descriptor);
    return {output.ready(), TerminalChart::outputWidth(), TerminalChart::outputTakesColour()};
}

// What standard output looks like on a new pseudo-terminal of `columns` columns.
OutputTraits onTerminal(unsigned short columns) {
    const int controller = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (controller < 0 || ::grantpt(controller) != 0 || ::unlockpt(controller) != 0) {
        return {false, 0, false};
    }
    const int terminal = ::open(::ptsname(controller), O_RDWR | O_NOCTTY);
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    const bool sized = terminal >= 0 && ::ioctl(terminal, TIOCSWINSZ, &size) == 0;
    OutputTraits traits = traitsOf(terminal);
    traits.ready = traits.ready && sized;
    ::close(controller);
    return traits;
}

OutputTraits onFile() { return traitsOf(::open("/dev/null", O_WRONLY)); }

TEST(TerminalChartTests, OnATerminalTakesItsWidthAndColourUnlessNoColorIsSet) {
    ASSERT_EQ(::unsetenv("NO_COLOR"), 0);
    ASSERT_EQ(::setenv("COLUMNS", "50", 1), 0);
    const OutputTraits plain = onTerminal(123);
    const OutputTraits file = onFile();
    ASSERT_EQ(::setenv("NO_COLOR", "1", 1), 0);
    const OutputTraits noColour = onTerminal(97);
    ASSERT_EQ(::unsetenv("COLUMNS"), 0);
    const OutputTraits fileWithoutColumns = onFile();
    ::unsetenv("NO_COLOR");
    ASSERT_TRUE(plain.ready && file.ready && noColour.ready && fileWithoutColumns.ready);
    EXPECT_EQ(plain.width, 123U);
    EXPECT_TRUE(plain.colour);
    EXPECT_EQ(noColour.width, 97U);
    EXPECT_FALSE(noColour.colour);
    // Not on a terminal: the width COLUMNS gives, else 80, and never colour.
    EXPECT_EQ(file.width, 50U);
    EXPECT_FALSE(file.colour);
    EXPECT_EQ(fileWithoutColumns.width, 80U);
}

}  // namespace
}  // namespace tallowbeck
