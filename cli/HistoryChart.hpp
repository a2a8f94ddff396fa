#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "cli/ChartColumns.hpp"

typedef struct _cairo cairo_t;

namespace tallowbeck::cli {

// The temperature history drawn with cairo as an SVG or PNG image: the battery, CPU-die and
// GPU-die temperatures as lines over time, the thermal states fair, serious and critical as
// shaded bands behind them, keep-awake sessions and a closed lid as strips along the time axis,
// a legend, and time ticks in local time with the zone named. The samples are first reduced to
// one column per pixel of the plot (see ChartColumns), so the drawing and the file's size do
// not grow with the number of samples.
class HistoryChart {
public:
    enum class Format { svg, png };
    // Colours as 0xRRGGBB.
    static constexpr std::array<std::uint32_t, ChartColumns::seriesCount> seriesColours{
        0x1b9e77, 0x3b5bdb, 0xd6336c};
    static constexpr std::uint32_t sessionColour = 0x7048e8;
    static constexpr std::uint32_t lidClosedColour = 0x495057;
    static constexpr int smallestWidth = 320;
    static constexpr int smallestHeight = 200;

    // The format the file's extension (".svg" or ".png", in any case) names.
    static std::optional<Format> formatOf(const std::filesystem::path& file);
    // The shading of a thermal state's band; nothing for nominal, which has none.
    static std::optional<std::uint32_t> bandColour(SystemThermalState state) noexcept;

    // The samples from `start` to `end` (seconds since 1970, `end` after `start`) on an image
    // of `width` by `height` pixels, at least smallestWidth by smallestHeight.
    HistoryChart(std::span<const TemperatureSample> samples, double start, double end, int width,
                 int height);

    // The image file's contents.
    std::string render(Format format) const;

    // Where a moment and a temperature lie on the image, in pixels from its top left corner.
    double xOf(double time) const noexcept;
    double yOf(double celsius) const noexcept;

private:
    void draw(cairo_t* cairo) const;
    void drawBands(cairo_t* cairo) const;
    void drawStrips(cairo_t* cairo) const;
    // Along the time axis at `top`, wherever the columns are `marked`.
    void drawStrip(cairo_t* cairo, bool ChartColumns::Column::*marked, std::uint32_t colour,
                   double top) const;
    void drawTemperatureGrid(cairo_t* cairo) const;
    void drawTimeTicks(cairo_t* cairo) const;
    void drawSeries(cairo_t* cairo, std::size_t series) const;
    void drawDot(cairo_t* cairo, double x, double celsius) const;
    void drawLegend(cairo_t* cairo) const;
    double columnLeft(std::size_t column) const noexcept;

    double start_;
    double end_;
    int width_;
    int height_;
    double plotLeft_;
    double plotTop_;
    double plotWidth_;
    double plotHeight_;
    double lowestCelsius_;
    double highestCelsius_;
    ChartColumns columns_;
};

}  // namespace tallowbeck::cli
