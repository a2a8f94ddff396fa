#include "cli/LocalTimeTicks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace tallowbeck::cli {
namespace {

constexpr double secondsPerDay = 86400;
// Steps within a day divide it evenly, so that ticks fall on the same times every day.
constexpr std::array<double, 8> stepsWithinDay{60, 300, 900, 1800, 3600, 10800, 21600, 43200};
constexpr std::array<int, 4> daySteps{1, 2, 7, 14};

std::tm localTime(double time) {
    const auto seconds = static_cast<std::time_t>(std::floor(time));
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

// Local midnight `days` days after the one that starts the day of `time`.
double midnight(double time, int days = 0) {
    std::tm local = localTime(time);
    local.tm_mday += days;
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    return static_cast<double>(std::mktime(&local));
}

std::vector<LocalTimeTicks::Tick> ticksWithinDays(double start, double end, double step) {
    std::vector<LocalTimeTicks::Tick> ticks;
    // A day whose midnight mktime cannot give (far outside its years) ends the ticks.
    for (double day = midnight(start), nextDay = midnight(day, 1); day <= end && nextDay > day;
         day = nextDay, nextDay = midnight(day, 1)) {
        for (double time = day; time < nextDay && time <= end; time += step) {
            if (time < start) {
                continue;
            }
            const bool newDay = ticks.empty() || time == day;
            ticks.push_back({time, LocalTimeTicks::localText(time, "%H:%M"),
                             newDay ? LocalTimeTicks::localText(time, "%a %d %b") : ""});
        }
    }
    return ticks;
}

std::vector<LocalTimeTicks::Tick> ticksOnDays(double start, double end, int everyDays) {
    std::vector<LocalTimeTicks::Tick> ticks;
    double day = midnight(start);
    if (day < start) {
        day = midnight(day, 1);
    }
    for (double next = midnight(day, everyDays); day <= end;
         day = next, next = midnight(day, everyDays)) {
        ticks.push_back({day, LocalTimeTicks::localText(day, "%d %b"), ""});
        if (next <= day) {
            break;
        }
    }
    return ticks;
}

}  // namespace

std::vector<LocalTimeTicks::Tick> LocalTimeTicks::between(double start, double end,
                                                          std::size_t mostTicks) {
    ::tzset();
    const double most = static_cast<double>(std::max<std::size_t>(mostTicks, 1));
    const double span = std::max(end - start, 0.0);
    for (const double step : stepsWithinDay) {
        if (span / step <= most) {
            return ticksWithinDays(start, end, step);
        }
    }
    for (const int days : daySteps) {
        if (span / (days * secondsPerDay) <= most) {
            return ticksOnDays(start, end, days);
        }
    }
    return ticksOnDays(start, end, static_cast<int>(std::ceil(span / secondsPerDay / most)));
}

std::string LocalTimeTicks::zoneName(double time) {
    ::tzset();
    const std::tm local = localTime(time);
    const long offsetMinutes = local.tm_gmtoff / 60;
    const long size = std::labs(offsetMinutes);
    return fmt::format("{} (UTC{}{:02}:{:02})", local.tm_zone != nullptr ? local.tm_zone : "",
                       offsetMinutes < 0 ? '-' : '+', size / 60, size % 60);
}

std::string LocalTimeTicks::localText(double time, const char* format) {
    const std::tm local = localTime(time);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &local);
    return {text.data(), length};
}

}  // namespace tallowbeck::cli
