#include <cairo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/HistoryChart.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using cli::HistoryChart;
using ::testing::HasSubstr;
using ::testing::Not;

// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;
constexpr double minute = 60;
constexpr int width = 800;
constexpr int height = 400;
constexpr std::size_t battery = 0;
constexpr std::size_t cpu = 1;

// A PNG file read back with cairo.
class PngImage {
public:
    explicit PngImage(const std::filesystem::path& file)
        : surface_(cairo_image_surface_create_from_png(file.c_str()), cairo_surface_destroy) {}

    bool readable() const { return cairo_surface_status(surface_.get()) == CAIRO_STATUS_SUCCESS; }
    int width() const { return cairo_image_surface_get_width(surface_.get()); }
    int height() const { return cairo_image_surface_get_height(surface_.get()); }

    // 0xRRGGBB of the pixel whose square holds the point.
    std::uint32_t colourAt(double x, double y) const {
        const auto column = static_cast<std::size_t>(std::floor(x));
        const auto row = static_cast<std::size_t>(std::floor(y));
        const unsigned char* data = cairo_image_surface_get_data(surface_.get());
        const auto stride =
            static_cast<std::size_t>(cairo_image_surface_get_stride(surface_.get()));
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, data + row * stride + column * 4, sizeof pixel);
        return pixel & 0xffffff;
    }

    // Whether a pixel within one pixel of the point has `colour`.
    bool hasColourNear(double x, double y, std::uint32_t colour) const {
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                if (colourAt(x + dx, y + dy) == colour) {
                    return true;
                }
            }
        }
        return false;
    }

    // Whether any pixel of column `x` from `y` down to the image's bottom has the colour.
    bool hasColourBelow(double x, double y, std::uint32_t colour) const {
        for (double row = y; row < height(); ++row) {
            if (colourAt(x, row) == colour) {
                return true;
            }
        }
        return false;
    }

private:
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface_;
};

// An hour of one sample a minute: the battery at 35 °C, the CPU at 60 °C, serious from 12:20 to
// 12:40, a session until 12:30 and the lid closed after it.
std::vector<TemperatureSample> fixedHour() {
    std::vector<TemperatureSample> samples;
    for (int index = 0; index <= 60; ++index) {
        samples.emplace_back(
            UUID::random(), noon + index * minute, 35.0, 60.0, std::nullopt,
            index >= 20 && index < 40 ? SystemThermalState::serious : SystemThermalState::nominal,
            index < 30, index >= 30);
    }
    return samples;
}

constexpr int monthOfMinutes = 43'200;
// Inside a pixel column of the plot, not its first sample, which a line from the column before
// would reach anyway.
constexpr int spikeIndex = monthOfMinutes / 2 + 20;

// A month of one sample a minute at 40 °C, with a single one at 95 °C in the middle.
std::vector<TemperatureSample> monthWithSpike() {
    std::vector<TemperatureSample> samples;
    constexpr int count = monthOfMinutes;
    samples.reserve(count);
    for (int index = 0; index < count; ++index) {
        samples.emplace_back(UUID::random(), noon + index * minute,
                             index == spikeIndex ? 95.0 : 40.0, std::nullopt, std::nullopt,
                             SystemThermalState::nominal, false, false);
    }
    return samples;
}

class HistoryPlotTest : public ::testing::Test {
protected:
    testing::ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"history", "--file", history().string()});
        return testing::runProgram(TALLOWBECK_CLI_PATH, arguments);
    }

    testing::ProgramResult plot(const std::vector<TemperatureSample>& samples,
                                const std::string& name) const {
        directory_.write("history.json", HistoryFileFormat::encodeSnapshot(samples));
        return run({"plot", "--output", image(name).string(), "--width", std::to_string(width),
                    "--height", std::to_string(height)});
    }

    // The samples drawn to a PNG, which is unreadable when the command failed, as it says.
    PngImage plottedPNG(const std::vector<TemperatureSample>& samples) const {
        const testing::ProgramResult result = plot(samples, "chart.png");
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        return PngImage(image("chart.png"));
    }

    std::filesystem::path history() const { return directory_.path() / "history.json"; }
    std::filesystem::path image(const std::string& name) const { return directory_.path() / name; }

    testing::TemporaryDirectory directory_;
};

TEST_F(HistoryPlotTest, WritesAnSVGThatXmllintAcceptsAndRsvgConvertRenders) {
    const auto result = plot(fixedHour(), "chart.svg");
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(testing::contentsOf(image("chart.svg")), HasSubstr("<svg"));
    const auto lint =
        testing::runProgram(TALLOWBECK_XMLLINT_PATH, {"--noout", image("chart.svg").string()});
    EXPECT_EQ(lint.exitStatus, 0) << lint.standardError;
    const auto converted = testing::runProgram(
        TALLOWBECK_RSVG_CONVERT_PATH,
        {"--output", image("converted.png").string(), image("chart.svg").string()});
    ASSERT_EQ(converted.exitStatus, 0) << converted.standardError;
    const PngImage png(image("converted.png"));
    ASSERT_TRUE(png.readable());
    EXPECT_EQ(png.width(), width);
    EXPECT_EQ(png.height(), height);
}

TEST_F(HistoryPlotTest, APNGShowsTheLinesTheBandAndTheStripsWhereTheyBelong) {
    // Serious from minute 20 to 40; a session for the first half hour, the lid closed for the
    // second.
    const auto samples = fixedHour();
    const PngImage png = plottedPNG(samples);
    ASSERT_TRUE(png.readable());
    const HistoryChart chart(samples, noon, noon + 60 * minute, width, height);
    const double early = chart.xOf(noon + 10 * minute);
    const double serious = chart.xOf(noon + 25 * minute);
    EXPECT_TRUE(png.hasColourNear(early, chart.yOf(35), HistoryChart::seriesColours[battery]));
    EXPECT_TRUE(png.hasColourNear(serious, chart.yOf(60), HistoryChart::seriesColours[cpu]));
    EXPECT_EQ(png.colourAt(serious, chart.yOf(47.5)),
              *HistoryChart::bandColour(SystemThermalState::serious));
    // Where the state was nominal there is no band.
    EXPECT_EQ(png.colourAt(early, chart.yOf(47.5)), 0xffffffU);
    // Below the lowest line, so past the plot and the legend above it.
    const double late = chart.xOf(noon + 50 * minute);
    const double below = chart.yOf(35) + 2;
    EXPECT_TRUE(png.hasColourBelow(early, below, HistoryChart::sessionColour));
    EXPECT_FALSE(png.hasColourBelow(early, below, HistoryChart::lidClosedColour));
    EXPECT_TRUE(png.hasColourBelow(late, below, HistoryChart::lidClosedColour));
    EXPECT_FALSE(png.hasColourBelow(late, below, HistoryChart::sessionColour));
}

TEST_F(HistoryPlotTest, ASpikeOfOneSampleAmongAMonthOfThemIsVisible) {
    const auto samples = monthWithSpike();
    const PngImage png = plottedPNG(samples);
    ASSERT_TRUE(png.readable());
    const HistoryChart chart(samples, samples.front().recordedAt(), samples.back().recordedAt(),
                             width, height);
    const std::uint32_t line = HistoryChart::seriesColours[battery];
    const double spike = chart.xOf(samples[spikeIndex].recordedAt());
    EXPECT_TRUE(png.hasColourNear(spike, chart.yOf(80), line));
    EXPECT_FALSE(png.hasColourNear(spike - 50, chart.yOf(80), line));
    EXPECT_TRUE(png.hasColourNear(spike - 50, chart.yOf(40), line));
}

TEST_F(HistoryPlotTest, AnEmptyHistoryIsRefusedWithAClearMessage) {
    const auto result = plot({}, "chart.png");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.standardError, HasSubstr("the history has no samples; nothing to plot"));
    EXPECT_FALSE(std::filesystem::exists(image("chart.png")));
}

TEST_F(HistoryPlotTest, ALoneSampleIsDrawnAsADotInTheMiddle) {
    const std::vector<TemperatureSample> samples{
        TemperatureSample(UUID::random(), noon, 42.0, std::nullopt, std::nullopt,
                          SystemThermalState::nominal, false, false)};
    const PngImage png = plottedPNG(samples);
    ASSERT_TRUE(png.readable());
    const HistoryChart chart(samples, noon - 5 * minute, noon + 5 * minute, width, height);
    EXPECT_TRUE(
        png.hasColourNear(chart.xOf(noon), chart.yOf(42), HistoryChart::seriesColours[battery]));
}

TEST_F(HistoryPlotTest, ANameOfAnotherKindIsAUsageError) {
    const auto result = plot(fixedHour(), "chart.jpg");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.standardError, HasSubstr("neither an SVG (.svg) nor a PNG (.png) file"));
    EXPECT_FALSE(std::filesystem::exists(image("chart.jpg")));
}

TEST_F(HistoryPlotTest, SinceLeavesOutOlderSamples) {
    // Hot from three hours to 90 minutes ago, cool in the last 50 minutes.
    const double now = std::floor(WallClock::now());
    std::vector<TemperatureSample> samples;
    for (int index = 0; index <= 180; ++index) {
        if (index > 50 && index < 90) {
            continue;
        }
        samples.emplace_back(UUID::random(), now - index * minute, index <= 50 ? 40.0 : 80.0,
                             std::nullopt, std::nullopt, SystemThermalState::nominal, false, false);
    }
    directory_.write("history.json", HistoryFileFormat::encodeSnapshot(samples));
    const auto all = run({"show", "--chart"});
    ASSERT_EQ(all.exitStatus, 0) << all.standardError;
    EXPECT_THAT(all.standardOutput, HasSubstr(" 85 °C ┤"));
    const auto recent = run({"show", "--chart", "--since", "1h"});
    ASSERT_EQ(recent.exitStatus, 0) << recent.standardError;
    EXPECT_THAT(recent.standardOutput, HasSubstr(" 45 °C ┤"));
    EXPECT_THAT(recent.standardOutput, Not(HasSubstr("85 °C")));
    const auto plotted = run({"plot", "--since", "1h", "--output", image("recent.png").string()});
    EXPECT_EQ(plotted.exitStatus, 0) << plotted.standardError;
}

TEST_F(HistoryPlotTest, SinceWithoutSamplesInThatTimeIsRefused) {
    ASSERT_EQ(plot(fixedHour(), "chart.png").exitStatus, 0);
    const auto recent = run({"plot", "--since", "2h", "--output", image("recent.png").string()});
    EXPECT_EQ(recent.exitStatus, 1);
    EXPECT_THAT(recent.standardError, HasSubstr("no samples in that time"));
    EXPECT_FALSE(std::filesystem::exists(image("recent.png")));
}

TEST_F(HistoryPlotTest, TheTerminalChartHasNoEscapeSequencesWhenNotOnATerminal) {
    directory_.write("history.json", HistoryFileFormat::encodeSnapshot(fixedHour()));
    ASSERT_EQ(::setenv("COLUMNS", "100", 1), 0);
    ASSERT_EQ(::unsetenv("NO_COLOR"), 0);
    const auto result = run({"show", "--chart"});
    ::unsetenv("COLUMNS");
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_THAT(result.standardOutput, HasSubstr("* Battery"));
    EXPECT_THAT(result.standardOutput, Not(HasSubstr("\x1b")));
    // The battery's level line, as wide as COLUMNS says when standard output is no terminal,
    // less the axis and the last column.
    EXPECT_THAT(result.standardOutput, HasSubstr("│" + std::string(100 - 9, '*') + "\n"));
}

TEST_F(HistoryPlotTest, TheTerminalChartOfAnEmptyHistorySaysSo) {
    const auto result = run({"show", "--chart"});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, "No samples to chart.\n");
}

}  // namespace
}  // namespace tallowbeck
