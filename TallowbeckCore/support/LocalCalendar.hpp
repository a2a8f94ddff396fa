#pragma once

#include <cstdint>
#include <optional>

// Calendar arithmetic in the process's local time zone.
namespace tallowbeck::LocalCalendar {

// The same wall-clock time `days` calendar days from `secondsSince1970` (negative: earlier), so
// a day across a daylight-saving change lasts 23 or 25 hours. Nothing when the date cannot be
// expressed.
std::optional<double> addingDays(double secondsSince1970, std::int64_t days) noexcept;

}  // namespace tallowbeck::LocalCalendar
