#include "TallowbeckCore/support/InternetDateTime.hpp"

#include <array>
#include <chrono>
#include <cmath>
#include <stdexcept>

namespace tallowbeck::InternetDateTime {

namespace {

using namespace std::chrono;

constexpr double secondsPerDay = 86400.0;
// 10000-01-01T00:00:00Z.
constexpr double endSeconds = 253402300800.0;

// The next `count` characters as a decimal number; nothing unless they are all digits.
std::optional<int> digits(std::string_view text, std::size_t position, std::size_t count) noexcept {
    if (position + count > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (std::size_t index = position; index < position + count; ++index) {
        const char character = text[index];
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        value = value * 10 + (character - '0');
    }
    return value;
}

bool hasAt(std::string_view text, std::size_t position, char expected) noexcept {
    return position < text.size() && text[position] == expected;
}

// The zone suffix as seconds east of UTC.
std::optional<int> offsetSeconds(std::string_view suffix) noexcept {
    if (suffix == "Z") {
        return 0;
    }
    if (suffix.size() != 6 || (suffix[0] != '+' && suffix[0] != '-') || suffix[3] != ':') {
        return std::nullopt;
    }
    const std::optional<int> hours = digits(suffix, 1, 2);
    const std::optional<int> minutes = digits(suffix, 4, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    const int offset = *hours * 3600 + *minutes * 60;
    return suffix[0] == '+' ? offset : -offset;
}

void appendDigits(std::string& out, long long value, int width) {
    std::array<char, 4> buffer{};
    for (int index = width - 1; index >= 0; --index) {
        buffer[static_cast<std::size_t>(index)] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    out.append(buffer.data(), static_cast<std::size_t>(width));
}

}  // namespace

bool canWrite(double secondsSince1970) noexcept {
    const double whole = asWritten(secondsSince1970);
    return whole >= earliest && whole < endSeconds;
}

double asWritten(double secondsSince1970) noexcept { return std::floor(secondsSince1970); }

std::string text(double secondsSince1970) {
    if (!canWrite(secondsSince1970)) {
        throw std::out_of_range("a date-time outside the years 0000 to 9999 cannot be written");
    }
    const double whole = asWritten(secondsSince1970);
    const auto seconds = static_cast<long long>(whole);
    const sys_days day{days{static_cast<int>(std::floor(whole / secondsPerDay))}};
    const year_month_day date{day};
    const long long secondOfDay = seconds - day.time_since_epoch().count() * 86400LL;

    std::string out;
    out.reserve(20);
    appendDigits(out, static_cast<int>(date.year()), 4);
    out += '-';
    appendDigits(out, static_cast<unsigned>(date.month()), 2);
    out += '-';
    appendDigits(out, static_cast<unsigned>(date.day()), 2);
    out += 'T';
    appendDigits(out, secondOfDay / 3600, 2);
    out += ':';
    appendDigits(out, secondOfDay / 60 % 60, 2);
    out += ':';
    appendDigits(out, secondOfDay % 60, 2);
    out += 'Z';
    return out;
}

std::optional<double> secondsSince1970(std::string_view text) noexcept {
    const std::optional<int> yearNumber = digits(text, 0, 4);
    const std::optional<int> monthNumber = digits(text, 5, 2);
    const std::optional<int> dayNumber = digits(text, 8, 2);
    const std::optional<int> hour = digits(text, 11, 2);
    const std::optional<int> minute = digits(text, 14, 2);
    const std::optional<int> second = digits(text, 17, 2);
    const bool separated = hasAt(text, 4, '-') && hasAt(text, 7, '-') && hasAt(text, 10, 'T') &&
                           hasAt(text, 13, ':') && hasAt(text, 16, ':');
    if (!yearNumber || !monthNumber || !dayNumber || !hour || !minute || !second || !separated ||
        *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    const std::optional<int> offset = offsetSeconds(text.substr(19));
    const year_month_day date{year{*yearNumber}, month{static_cast<unsigned>(*monthNumber)},
                              day{static_cast<unsigned>(*dayNumber)}};
    if (!offset || !date.ok()) {
        return std::nullopt;
    }
    const long long dayCount = sys_days{date}.time_since_epoch().count();
    const auto seconds = static_cast<double>(dayCount * 86400LL + *hour * 3600LL + *minute * 60LL +
                                             *second - *offset);
    // An offset can carry a time past either end of the four-digit years, where it could not
    // be written back.
    if (!canWrite(seconds)) {
        return std::nullopt;
    }
    return seconds;
}

}  // namespace tallowbeck::InternetDateTime
