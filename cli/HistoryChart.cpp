#include "cli/HistoryChart.hpp"

#include <cairo-svg.h>
#include <cairo.h>
#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "cli/LocalTimeTicks.hpp"

namespace tallowbeck::cli {
namespace {

constexpr double leftMargin = 56;
constexpr double rightMargin = 20;
constexpr double bottomMargin = 72;
constexpr double fontSize = 11;
constexpr double lineWidth = 2;
// Stroked with the line's width, a circle this size is a solid dot twice as wide as the line.
constexpr double loneReadingRadius = lineWidth / 2;
constexpr double stripHeight = 5;
constexpr double stripSpacing = 2;
// Room for one time label, so that neighbouring labels do not overlap.
constexpr double pixelsPerTimeTick = 110;
constexpr double pixelsPerTemperatureTick = 28;
// A history without readings still gets an axis.
constexpr double emptyLowestCelsius = 20;
constexpr double emptyHighestCelsius = 60;
constexpr std::array<double, 5> temperatureSteps{2, 5, 10, 20, 50};
constexpr std::uint32_t backgroundColour = 0xffffff;
constexpr std::uint32_t gridColour = 0xdee2e6;
constexpr std::uint32_t textColour = 0x343a40;
constexpr std::array<std::string_view, ChartColumns::seriesCount> seriesNames{"Battery", "CPU die",
                                                                              "GPU die"};
constexpr std::array<SystemThermalState, 3> shadedStates{
    SystemThermalState::fair, SystemThermalState::serious, SystemThermalState::critical};

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

void setColour(cairo_t* cairo, std::uint32_t colour) {
    constexpr double full = 255;
    cairo_set_source_rgb(cairo, static_cast<double>((colour >> 16) & 0xff) / full,
                         static_cast<double>((colour >> 8) & 0xff) / full,
                         static_cast<double>(colour & 0xff) / full);
}

void fillRectangle(cairo_t* cairo, std::uint32_t colour, double x, double y, double width,
                   double height) {
    setColour(cairo, colour);
    cairo_rectangle(cairo, x, y, width, height);
    cairo_fill(cairo);
}

enum class Align { left, centre, right };

// Writes `text` with its baseline at `y`; returns its width.
double showText(cairo_t* cairo, double x, double y, const std::string& text,
                Align align = Align::left) {
    cairo_text_extents_t extents;
    cairo_text_extents(cairo, text.c_str(), &extents);
    const double shift = align == Align::left     ? 0
                         : align == Align::centre ? extents.x_advance / 2
                                                  : extents.x_advance;
    setColour(cairo, textColour);
    cairo_move_to(cairo, x - shift, y);
    cairo_show_text(cairo, text.c_str());
    return extents.x_advance;
}

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(std::string("cannot draw the chart: ") +
                                 cairo_status_to_string(status));
    }
}

cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

double temperatureStep(double lowest, double highest, double plotHeight) {
    const double mostTicks = std::max(plotHeight / pixelsPerTemperatureTick, 1.0);
    for (const double step : temperatureSteps) {
        if ((highest - lowest) / step <= mostTicks) {
            return step;
        }
    }
    return std::ceil((highest - lowest) / mostTicks);
}

// Runs of neighbouring columns for which `key` gives the same value; `draw` gets each run's
// first column, the column after its last, and the value.
template <typename Key, typename Draw>
void forEachRun(const std::vector<ChartColumns::Column>& columns, Key key, Draw draw) {
    std::size_t first = 0;
    for (std::size_t index = 1; index <= columns.size(); ++index) {
        if (index == columns.size() || key(columns[index]) != key(columns[first])) {
            draw(first, index, key(columns[first]));
            first = index;
        }
    }
}

enum class Swatch { line, band, strip };

struct LegendEntry {
    Swatch swatch;
    std::uint32_t colour;
    std::string label;
};

struct LegendPlace {
    LegendEntry entry;
    double x;
    std::size_t row;
};

constexpr double swatchWidth = 16;
constexpr double textGap = 4;
constexpr double entryGap = 14;
constexpr double legendRowHeight = 18;
constexpr double legendTop = 7;

void setFont(cairo_t* cairo) {
    cairo_select_font_face(cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, fontSize);
}

std::vector<LegendEntry> legendEntries() {
    std::vector<LegendEntry> entries;
    for (std::size_t series = 0; series < ChartColumns::seriesCount; ++series) {
        entries.push_back(
            {Swatch::line, HistoryChart::seriesColours[series], std::string(seriesNames[series])});
    }
    for (const SystemThermalState state : shadedStates) {
        entries.push_back(
            {Swatch::band, *HistoryChart::bandColour(state), std::string(displayName(state))});
    }
    entries.push_back({Swatch::strip, HistoryChart::sessionColour, "Keep-awake session"});
    entries.push_back({Swatch::strip, HistoryChart::lidClosedColour, "Lid closed"});
    return entries;
}

// The legend's entries from `left` on, in as many rows as it takes to stay within `width`.
std::vector<LegendPlace> legendPlaces(cairo_t* cairo, double left, int width) {
    std::vector<LegendPlace> places;
    double x = left;
    std::size_t row = 0;
    for (LegendEntry& entry : legendEntries()) {
        cairo_text_extents_t extents;
        cairo_text_extents(cairo, entry.label.c_str(), &extents);
        const double entryWidth = swatchWidth + textGap + extents.x_advance;
        if (x > left && x + entryWidth > static_cast<double>(width) - rightMargin) {
            x = left;
            ++row;
        }
        places.push_back({std::move(entry), x, row});
        x += entryWidth + entryGap;
    }
    return places;
}

double legendRowMiddle(std::size_t row) {
    return legendTop + legendRowHeight * (static_cast<double>(row) + 0.5);
}

// Room for the legend's rows above the plot on an image `width` pixels wide.
double plotTopFor(int width) {
    const Surface scratch(cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1),
                          cairo_surface_destroy);
    const Context cairo(cairo_create(scratch.get()), cairo_destroy);
    setFont(cairo.get());
    const std::vector<LegendPlace> places = legendPlaces(cairo.get(), leftMargin, width);
    const std::size_t rows = places.empty() ? 0 : places.back().row + 1;
    return legendRowMiddle(rows) + legendTop / 2;
}

}  // namespace

std::optional<HistoryChart::Format> HistoryChart::formatOf(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char character) { return std::tolower(character); });
    if (extension == ".svg") {
        return Format::svg;
    }
    if (extension == ".png") {
        return Format::png;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> HistoryChart::bandColour(SystemThermalState state) noexcept {
    switch (state) {
        case SystemThermalState::nominal:
            return std::nullopt;
        case SystemThermalState::fair:
            return 0xfff3bf;
        case SystemThermalState::serious:
            return 0xffd8a8;
        case SystemThermalState::critical:
            return 0xffc9c9;
    }
    return std::nullopt;
}

HistoryChart::HistoryChart(std::span<const TemperatureSample> samples, double start, double end,
                           int width, int height)
    : start_(start),
      end_(end),
      width_(std::max(width, smallestWidth)),
      height_(std::max(height, smallestHeight)),
      plotLeft_(leftMargin),
      plotTop_(plotTopFor(width_)),
      plotWidth_(static_cast<double>(width_) - leftMargin - rightMargin),
      plotHeight_(static_cast<double>(height_) - plotTop_ - bottomMargin),
      columns_(samples, start, end, static_cast<std::size_t>(plotWidth_)) {
    const auto range = columns_.celsiusRange();
    const double lowest = range ? range->first : emptyLowestCelsius;
    const double highest = range ? range->second : emptyHighestCelsius;
    // Whole steps around the readings, with room above and below the extremes.
    const double step = temperatureStep(lowest - 1, highest + 1, plotHeight_);
    lowestCelsius_ = std::floor((lowest - 1) / step) * step;
    highestCelsius_ = std::ceil((highest + 1) / step) * step;
}

std::string HistoryChart::render(Format format) const {
    std::string bytes;
    if (format == Format::svg) {
        const Surface surface(
            cairo_svg_surface_create_for_stream(appendBytes, &bytes, width_, height_),
            cairo_surface_destroy);
        check(cairo_surface_status(surface.get()));
        // Pixels, as the PNG has, rather than cairo's default of points.
        cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
        {
            const Context cairo(cairo_create(surface.get()), cairo_destroy);
            draw(cairo.get());
            check(cairo_status(cairo.get()));
        }
        cairo_surface_finish(surface.get());
        check(cairo_surface_status(surface.get()));
    } else {
        const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width_, height_),
                              cairo_surface_destroy);
        check(cairo_surface_status(surface.get()));
        {
            const Context cairo(cairo_create(surface.get()), cairo_destroy);
            draw(cairo.get());
            check(cairo_status(cairo.get()));
        }
        check(cairo_surface_write_to_png_stream(surface.get(), appendBytes, &bytes));
    }
    return bytes;
}

double HistoryChart::xOf(double time) const noexcept {
    return plotLeft_ + (time - start_) / (end_ - start_) * plotWidth_;
}

double HistoryChart::yOf(double celsius) const noexcept {
    return plotTop_ +
           (highestCelsius_ - celsius) / (highestCelsius_ - lowestCelsius_) * plotHeight_;
}

double HistoryChart::columnLeft(std::size_t column) const noexcept {
    return plotLeft_ + static_cast<double>(column) * plotWidth_ /
                           static_cast<double>(columns_.columns().size());
}

void HistoryChart::draw(cairo_t* cairo) const {
    fillRectangle(cairo, backgroundColour, 0, 0, width_, height_);
    cairo_select_font_face(cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, fontSize);
    drawBands(cairo);
    drawTemperatureGrid(cairo);
    drawTimeTicks(cairo);
    drawStrips(cairo);
    cairo_save(cairo);
    cairo_rectangle(cairo, plotLeft_, plotTop_, plotWidth_, plotHeight_);
    cairo_clip(cairo);
    for (std::size_t series = 0; series < ChartColumns::seriesCount; ++series) {
        drawSeries(cairo, series);
    }
    cairo_restore(cairo);
    drawLegend(cairo);
}

void HistoryChart::drawBands(cairo_t* cairo) const {
    forEachRun(
        columns_.columns(), [](const ChartColumns::Column& column) { return column.thermalState; },
        [&](std::size_t first, std::size_t after, std::optional<SystemThermalState> state) {
            if (const auto colour = state ? bandColour(*state) : std::nullopt) {
                fillRectangle(cairo, *colour, columnLeft(first), plotTop_,
                              columnLeft(after) - columnLeft(first), plotHeight_);
            }
        });
}

void HistoryChart::drawStrips(cairo_t* cairo) const {
    const double sessionTop = plotTop_ + plotHeight_ + stripSpacing;
    drawStrip(cairo, &ChartColumns::Column::sessionActive, sessionColour, sessionTop);
    drawStrip(cairo, &ChartColumns::Column::lidClosed, lidClosedColour,
              sessionTop + stripHeight + stripSpacing);
}

void HistoryChart::drawStrip(cairo_t* cairo, bool ChartColumns::Column::*marked,
                             std::uint32_t colour, double top) const {
    forEachRun(
        columns_.columns(), [marked](const ChartColumns::Column& column) { return column.*marked; },
        [&](std::size_t first, std::size_t after, bool isMarked) {
            if (isMarked) {
                fillRectangle(cairo, colour, columnLeft(first), top,
                              columnLeft(after) - columnLeft(first), stripHeight);
            }
        });
}

void HistoryChart::drawTemperatureGrid(cairo_t* cairo) const {
    const double step = temperatureStep(lowestCelsius_, highestCelsius_, plotHeight_);
    cairo_set_line_width(cairo, 1);
    for (double celsius = lowestCelsius_; celsius <= highestCelsius_ + step / 2; celsius += step) {
        // On the pixel grid, so that a one-pixel line stays sharp.
        const double y = std::round(yOf(celsius)) + 0.5;
        setColour(cairo, gridColour);
        cairo_move_to(cairo, plotLeft_, y);
        cairo_line_to(cairo, plotLeft_ + plotWidth_, y);
        cairo_stroke(cairo);
        showText(cairo, plotLeft_ - 6, y + fontSize / 3, fmt::format("{:g} °C", celsius),
                 Align::right);
    }
    setColour(cairo, gridColour);
    cairo_rectangle(cairo, plotLeft_ + 0.5, plotTop_ + 0.5, plotWidth_ - 1, plotHeight_ - 1);
    cairo_stroke(cairo);
}

void HistoryChart::drawTimeTicks(cairo_t* cairo) const {
    const double labelTop = plotTop_ + plotHeight_ + 2 * (stripHeight + stripSpacing) + 14;
    const auto ticks = LocalTimeTicks::between(
        start_, end_, static_cast<std::size_t>(std::max(plotWidth_ / pixelsPerTimeTick, 1.0)));
    cairo_set_line_width(cairo, 1);
    for (const LocalTimeTicks::Tick& tick : ticks) {
        const double x = std::round(xOf(tick.time)) + 0.5;
        setColour(cairo, gridColour);
        cairo_move_to(cairo, x, plotTop_);
        cairo_line_to(cairo, x, plotTop_ + plotHeight_);
        cairo_stroke(cairo);
        // A label at the right edge ends there rather than running off the image.
        const bool atRightEdge = x + pixelsPerTimeTick / 2 > width_;
        const Align align = atRightEdge ? Align::right : Align::centre;
        const double labelX = atRightEdge ? static_cast<double>(width_) - 2 : x;
        showText(cairo, labelX, labelTop, tick.label, align);
        showText(cairo, labelX, labelTop + fontSize + 3, tick.date, align);
    }
    showText(cairo, plotLeft_ + plotWidth_, static_cast<double>(height_) - 6,
             "Local time: " + LocalTimeTicks::zoneName(end_), Align::right);
}

void HistoryChart::drawSeries(cairo_t* cairo, std::size_t series) const {
    const auto& columns = columns_.columns();
    const double columnWidth = plotWidth_ / static_cast<double>(columns.size());
    setColour(cairo, seriesColours[series]);
    cairo_set_line_width(cairo, lineWidth);
    // Square ends keep a column of one reading visible as a short dash.
    cairo_set_line_cap(cairo, CAIRO_LINE_CAP_SQUARE);
    cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
    std::optional<std::pair<double, double>> previous;  // x and last reading
    std::optional<std::pair<double, double>> lone;      // a reading that no line reaches yet
    for (std::size_t index = 0; index < columns.size(); ++index) {
        const auto& readings = columns[index].series[series];
        if (!readings) {
            continue;
        }
        const double x = columnLeft(index) + columnWidth / 2;
        if (readings->joinsPrevious && previous) {
            cairo_move_to(cairo, previous->first, yOf(previous->second));
            cairo_line_to(cairo, x, yOf(readings->first));
        } else if (lone) {
            drawDot(cairo, lone->first, lone->second);
        }
        lone =
            readings->joinsPrevious ? std::nullopt : std::optional(std::pair{x, readings->minimum});
        // The column's whole range, so that no spike within it is lost.
        cairo_move_to(cairo, x, yOf(readings->minimum));
        cairo_line_to(cairo, x, yOf(readings->maximum));
        previous = std::pair{x, readings->last};
    }
    if (lone) {
        drawDot(cairo, lone->first, lone->second);
    }
    cairo_stroke(cairo);
}

// A reading with no line to or from it would be a speck; it gets a dot of its own.
void HistoryChart::drawDot(cairo_t* cairo, double x, double celsius) const {
    cairo_new_sub_path(cairo);
    cairo_arc(cairo, x, yOf(celsius), loneReadingRadius, 0, 2 * M_PI);
    cairo_close_path(cairo);
}

void HistoryChart::drawLegend(cairo_t* cairo) const {
    for (const LegendPlace& place : legendPlaces(cairo, plotLeft_, width_)) {
        const LegendEntry& entry = place.entry;
        const double middle = legendRowMiddle(place.row);
        if (entry.swatch == Swatch::line) {
            setColour(cairo, entry.colour);
            cairo_set_line_width(cairo, 2 * lineWidth);
            cairo_move_to(cairo, place.x, middle);
            cairo_line_to(cairo, place.x + swatchWidth, middle);
            cairo_stroke(cairo);
        } else {
            const double swatchHeight = entry.swatch == Swatch::band ? 10 : stripHeight;
            fillRectangle(cairo, entry.colour, place.x, middle - swatchHeight / 2, swatchWidth,
                          swatchHeight);
        }
        showText(cairo, place.x + swatchWidth + textGap, middle + fontSize / 3, entry.label);
    }
}

}  // namespace tallowbeck::cli
