#include "cli/TerminalChart.hpp"

#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/ChartColumns.hpp"
#include "cli/LocalTimeTicks.hpp"

namespace tallowbeck::cli {
namespace {

constexpr std::size_t fallbackWidth = 80;
// "45 °C ┤" and the like: six characters of label, a space and the axis.
constexpr std::size_t prefixWidth = 8;
constexpr double celsiusStep = 5;
constexpr double emptyLowestCelsius = 20;
constexpr double emptyHighestCelsius = 60;
// Room for one time label and the space after it.
constexpr std::size_t columnsPerTimeTick = 12;
constexpr std::string_view resetColour = "\x1b[0m";

struct Mark {
    std::string_view symbol;
    std::string_view colour;  // an ANSI escape sequence
    std::string_view name;
};

constexpr std::array<Mark, ChartColumns::seriesCount> seriesMarks{Mark{"*", "\x1b[32m", "Battery"},
                                                                  Mark{"+", "\x1b[34m", "CPU die"},
                                                                  Mark{"o", "\x1b[35m", "GPU die"}};
// Indexed by SystemThermalState.
constexpr std::array<Mark, 4> thermalMarks{Mark{" ", "", "Nominal"}, Mark{"░", "\x1b[33m", "Fair"},
                                           Mark{"▒", "\x1b[38;5;208m", "Serious"},
                                           Mark{"█", "\x1b[31m", "Critical"}};
constexpr Mark sessionMark{"━", "\x1b[36m", "Keep-awake session"};
constexpr Mark lidClosedMark{"━", "\x1b[90m", "Lid closed"};
constexpr Mark blank{" ", "", ""};

std::string painted(const Mark& mark, bool colour) {
    if (!colour || mark.colour.empty()) {
        return std::string(mark.symbol);
    }
    return fmt::format("{}{}{}", mark.colour, mark.symbol, resetColour);
}

// The chart's rows from the top, each a list of marks, one per column.
class Grid {
public:
    Grid(std::size_t columns, double lowest, double highest)
        : columns_(columns),
          lowest_(lowest),
          highest_(highest),
          cells_(TerminalChart::plotRows, std::vector<const Mark*>(columns, &blank)) {}

    std::size_t rowOf(double celsius) const {
        const double position = (highest_ - celsius) / (highest_ - lowest_) *
                                static_cast<double>(TerminalChart::plotRows - 1);
        return std::min(static_cast<std::size_t>(std::lround(std::max(position, 0.0))),
                        TerminalChart::plotRows - 1);
    }

    void mark(std::size_t column, double from, double to, const Mark& mark) {
        const std::size_t top = rowOf(std::max(from, to));
        const std::size_t bottom = rowOf(std::min(from, to));
        for (std::size_t row = top; row <= bottom; ++row) {
            cells_[row][column] = &mark;
        }
    }

    std::string line(std::size_t row, bool colour) const {
        std::string text;
        for (const Mark* cell : cells_[row]) {
            text += painted(*cell, colour);
        }
        return text;
    }

    // The temperature a row stands for.
    double celsiusOf(std::size_t row) const {
        return highest_ - (highest_ - lowest_) * static_cast<double>(row) /
                              static_cast<double>(TerminalChart::plotRows - 1);
    }

    std::size_t columns() const { return columns_; }

private:
    std::size_t columns_;
    double lowest_;
    double highest_;
    std::vector<std::vector<const Mark*>> cells_;
};

// One series; a line that runs on across columns without readings is filled in between.
void plotSeries(Grid& grid, const ChartColumns& chart, std::size_t series) {
    const Mark& mark = seriesMarks[series];
    std::optional<std::pair<std::size_t, double>> previous;  // column and last reading
    for (std::size_t index = 0; index < chart.columns().size(); ++index) {
        const auto& readings = chart.columns()[index].series[series];
        if (!readings) {
            continue;
        }
        if (readings->joinsPrevious && previous) {
            const double span = static_cast<double>(index - previous->first);
            for (std::size_t between = previous->first + 1; between < index; ++between) {
                const double share = static_cast<double>(between - previous->first) / span;
                const double celsius =
                    previous->second + (readings->first - previous->second) * share;
                grid.mark(between, celsius, celsius, mark);
            }
        }
        grid.mark(index, readings->minimum, readings->maximum, mark);
        previous = std::pair{index, readings->last};
    }
}

std::string plotLines(const Grid& grid, bool colour) {
    std::string text;
    for (std::size_t row = 0; row < TerminalChart::plotRows; ++row) {
        const bool labelled =
            row == 0 || row == TerminalChart::plotRows - 1 || row == TerminalChart::plotRows / 2;
        const std::string label =
            labelled ? fmt::format("{:.0f} °C", grid.celsiusOf(row)) : std::string();
        // {fmt} pads by characters, not bytes, so "°" takes one column as on the screen.
        text += fmt::format("{:>{}} {}{}\n", label, prefixWidth - 2, labelled ? "┤" : "│",
                            grid.line(row, colour));
    }
    return text;
}

template <typename Choose>
std::string stripLine(std::string_view name, const ChartColumns& chart, bool colour,
                      Choose choose) {
    std::string text = fmt::format("{:<{}}", name, prefixWidth);
    for (const ChartColumns::Column& column : chart.columns()) {
        text += painted(choose(column), colour);
    }
    return text + "\n";
}

// The time axis and the labels of its ticks under it.
std::string timeAxis(double start, double end, std::size_t columns) {
    std::vector<std::string_view> axis(columns, "─");
    std::string labels(columns, ' ');
    std::size_t freeFrom = 0;
    for (const auto& tick : LocalTimeTicks::between(start, end, columns / columnsPerTimeTick)) {
        const auto column = std::min(static_cast<std::size_t>((tick.time - start) / (end - start) *
                                                              static_cast<double>(columns)),
                                     columns - 1);
        axis[column] = "┬";
        if (column >= freeFrom && column + tick.label.size() <= columns) {
            labels.replace(column, tick.label.size(), tick.label);
            freeFrom = column + tick.label.size() + 1;
        }
    }
    std::string text = fmt::format("{:>{}}", "└", prefixWidth);
    for (const std::string_view piece : axis) {
        text += piece;
    }
    return fmt::format("{}\n{:{}}{}\n", text, "", prefixWidth, labels);
}

// The legend's entries, as many to a line as fit before the last column.
std::string legend(double start, double end, std::size_t width, bool colour) {
    std::vector<std::pair<std::string, std::size_t>> entries;  // text and its width
    const auto add = [&](const Mark& mark) {
        entries.emplace_back(fmt::format("{} {}", painted(mark, colour), mark.name),
                             mark.name.size() + 2);
    };
    std::for_each(seriesMarks.begin(), seriesMarks.end(), add);
    std::for_each(thermalMarks.begin() + 1, thermalMarks.end(), add);
    add(sessionMark);
    add(lidClosedMark);
    for (std::string entry :
         {fmt::format("{} to {}", LocalTimeTicks::localText(start, "%a %d %b %H:%M"),
                      LocalTimeTicks::localText(end, "%a %d %b %H:%M")),
          "local time " + LocalTimeTicks::zoneName(end)}) {
        const std::size_t entryWidth = entry.size();
        entries.emplace_back(std::move(entry), entryWidth);
    }
    std::string text;
    std::size_t used = 0;
    for (const auto& [entry, entryWidth] : entries) {
        if (used > 0 && used + 2 + entryWidth >= width) {
            text += "\n";
            used = 0;
        }
        text += (used > 0 ? "  " : "") + entry;
        used += (used > 0 ? 2 : 0) + entryWidth;
    }
    return text + "\n";
}

}  // namespace

std::string TerminalChart::text(std::span<const TemperatureSample> samples, double start,
                                double end, std::size_t width, bool colour) {
    width = std::max(width, narrowestWidth);
    // The last column stays empty: writing there makes some terminals wrap.
    const std::size_t columns = width - prefixWidth - 1;
    const ChartColumns chart(samples, start, end, columns);
    const auto range = chart.celsiusRange();
    Grid grid(
        columns,
        std::floor(((range ? range->first : emptyLowestCelsius) - 1) / celsiusStep) * celsiusStep,
        std::ceil(((range ? range->second : emptyHighestCelsius) + 1) / celsiusStep) * celsiusStep);
    for (std::size_t series = 0; series < ChartColumns::seriesCount; ++series) {
        plotSeries(grid, chart, series);
    }
    return plotLines(grid, colour) + timeAxis(start, end, columns) +
           stripLine("Thermal", chart, colour,
                     [](const ChartColumns::Column& column) -> const Mark& {
                         return column.thermalState
                                    ? thermalMarks[static_cast<std::size_t>(*column.thermalState)]
                                    : blank;
                     }) +
           stripLine("Session", chart, colour,
                     [](const ChartColumns::Column& column) -> const Mark& {
                         return column.sessionActive ? sessionMark : blank;
                     }) +
           stripLine("Lid", chart, colour,
                     [](const ChartColumns::Column& column) -> const Mark& {
                         return column.lidClosed ? lidClosedMark : blank;
                     }) +
           legend(start, end, width, colour);
}

std::size_t TerminalChart::outputWidth() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    if (const char* columns = std::getenv("COLUMNS")) {
        std::size_t value = 0;
        const std::string_view text(columns);
        const auto [next, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error == std::errc() && next == text.data() + text.size() && value > 0) {
            return value;
        }
    }
    return fallbackWidth;
}

bool TerminalChart::outputTakesColour() {
    const char* noColour = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0');
}

}  // namespace tallowbeck::cli
