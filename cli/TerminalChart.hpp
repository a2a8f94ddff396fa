#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck::cli {

// The temperature history as text for a terminal: the same series, bands and strips as the
// image chart (see HistoryChart), one character column per chart column, with ANSI colours or
// without any escape sequence at all.
class TerminalChart {
public:
    static constexpr std::size_t plotRows = 12;
    static constexpr std::size_t narrowestWidth = 40;

    // The chart of the samples from `start` to `end` (`end` after `start`) in lines of at most
    // `width` characters (at least narrowestWidth).
    static std::string text(std::span<const TemperatureSample> samples, double start, double end,
                            std::size_t width, bool colour);

    // Standard output's terminal width, else COLUMNS, else 80.
    static std::size_t outputWidth();
    // Whether standard output is a terminal and NO_COLOR is unset or empty.
    static bool outputTakesColour();
};

}  // namespace tallowbeck::cli
