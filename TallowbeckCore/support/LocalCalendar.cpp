#include "TallowbeckCore/support/LocalCalendar.hpp"

#include <cerrno>
#include <cmath>
#include <ctime>

namespace tallowbeck::LocalCalendar {

namespace {

bool fitsTime(double seconds) noexcept {
    // Well inside time_t, and far beyond any date a calendar is asked about.
    constexpr double limit = 1e15;
    return std::isfinite(seconds) && std::fabs(seconds) < limit;
}

}  // namespace

std::optional<double> addingDays(double secondsSince1970, std::int64_t days) noexcept {
    if (!fitsTime(secondsSince1970)) {
        return std::nullopt;
    }
    const double wholeSeconds = std::floor(secondsSince1970);
    const auto time = static_cast<std::time_t>(wholeSeconds);
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr) {
        return std::nullopt;
    }
    if (__builtin_add_overflow(local.tm_mday, days, &local.tm_mday)) {
        return std::nullopt;
    }
    // Let mktime decide whether the new date falls in daylight-saving time.
    local.tm_isdst = -1;
    errno = 0;
    const std::time_t shifted = std::mktime(&local);
    if (shifted == static_cast<std::time_t>(-1) && errno != 0) {
        return std::nullopt;
    }
    return static_cast<double>(shifted) + (secondsSince1970 - wholeSeconds);
}

}  // namespace tallowbeck::LocalCalendar
