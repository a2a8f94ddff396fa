#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tallowbeck::cli {

// Marks along a time axis at round moments of local time (on the hour, at local midnight, ...),
// in the time zone the process runs in (TZ), with what to write under them.
class LocalTimeTicks {
public:
    struct Tick {
        double time;  // seconds since 1970
        std::string label;
        // The day, under the first tick and under each one that starts a new day; else empty.
        std::string date;
    };

    // The ticks from `start` to `end`, at most `mostTicks` (at least 1) of them, at the shortest
    // round step that allows that.
    static std::vector<Tick> between(double start, double end, std::size_t mostTicks);

    // The local zone at `time`, by abbreviation and offset: "CET (UTC+01:00)".
    static std::string zoneName(double time);

    // `time` in local time as strftime's `format` writes it.
    static std::string localText(double time, const char* format);
};

}  // namespace tallowbeck::cli
