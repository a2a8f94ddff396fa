#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck::InternetDateTime {

// 0000-01-01T00:00:00Z, the earliest time `text` writes.
constexpr double earliest = -62167219200.0;

// Whether `text` can write the time: finite, from the year 0000 to the year 9999.
bool canWrite(double secondsSince1970) noexcept;

// Whether `textWithMilliseconds` can write the time: whether `text` can write its nearest
// millisecond.
bool canWriteWithMilliseconds(double secondsSince1970) noexcept;

// The time as `text` writes it and `secondsSince1970` reads it back: its whole second.
double asWritten(double secondsSince1970) noexcept;

// ISO 8601 internet date-time text in UTC with whole seconds, "2024-05-01T12:34:56Z". A fraction
// of a second is dropped. Throws std::out_of_range for a time that is not finite or lies outside
// the years 0000 to 9999, which the form cannot express.
std::string text(double secondsSince1970);

// The same with exactly three decimals of a second, "2024-05-01T12:34:56.250Z", rounded to the
// nearest millisecond. Throws std::out_of_range as `text` does.
std::string textWithMilliseconds(double secondsSince1970);

// Reads "YYYY-MM-DDTHH:MM:SS" followed by "Z" or a "+HH:MM"/"-HH:MM" offset, with no fraction.
// Anything else, including an impossible calendar date or a time that `text` could not write,
// gives nothing.
std::optional<double> secondsSince1970(std::string_view text) noexcept;

// Reads the same, optionally with a fraction of 1 to 64 digits after the seconds,
// "2024-05-01T12:34:56.250Z"; the result is the double nearest to the exact time. A time that
// `textWithMilliseconds` could not write gives nothing.
std::optional<double> fractionalSecondsSince1970(std::string_view text) noexcept;

}  // namespace tallowbeck::InternetDateTime
