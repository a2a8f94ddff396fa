#include "TallowbeckCore/support/InternetDateTime.hpp"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <stdexcept>

namespace tallowbeck::InternetDateTime {

namespace {

using namespace std::chrono;

constexpr double secondsPerDay = 86400.0;
// 10000-01-01T00:00:00Z.
constexpr double endSeconds = 253402300800.0;
// Far more digits than any clock gives, few enough for a buffer on the stack.
constexpr std::size_t longestFraction = 64;

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

struct ParsedTime {
    long long wholeSeconds;
    std::string_view fractionDigits;  // empty when there is no fraction
};

// The digits of a fraction of a second starting at `position` (just after its point).
std::optional<std::string_view> fractionAt(std::string_view text, std::size_t position) noexcept {
    std::size_t end = position;
    while (end < text.size() && end - position <= longestFraction && text[end] >= '0' &&
           text[end] <= '9') {
        ++end;
    }
    if (end == position || end - position > longestFraction) {
        return std::nullopt;
    }
    return text.substr(position, end - position);
}

// The fields of the text, with the offset applied; nothing unless the text is well formed.
std::optional<ParsedTime> parse(std::string_view text, bool fractionAllowed) noexcept {
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
    std::string_view fraction;
    std::size_t zoneStart = 19;
    if (fractionAllowed && hasAt(text, 19, '.')) {
        const std::optional<std::string_view> fractionDigits = fractionAt(text, 20);
        if (!fractionDigits) {
            return std::nullopt;
        }
        fraction = *fractionDigits;
        zoneStart = 20 + fraction.size();
    }
    const std::optional<int> offset = offsetSeconds(text.substr(zoneStart));
    const year_month_day date{year{*yearNumber}, month{static_cast<unsigned>(*monthNumber)},
                              day{static_cast<unsigned>(*dayNumber)}};
    if (!offset || !date.ok()) {
        return std::nullopt;
    }
    const long long dayCount = sys_days{date}.time_since_epoch().count();
    return ParsedTime{
        .wholeSeconds = dayCount * 86400LL + *hour * 3600LL + *minute * 60LL + *second - *offset,
        .fractionDigits = fraction};
}

// The double nearest to `wholeSeconds` + 0.`fractionDigits`, read from its exact decimal text.
// Before 1970 that is minus (|wholeSeconds| - 1) + (1 - the fraction), whose digits are the
// fraction's ten's complement.
double withFraction(long long wholeSeconds, std::string_view fractionDigits) noexcept {
    const bool fractionIsZero = fractionDigits.find_first_not_of('0') == std::string_view::npos;
    if (fractionIsZero) {
        return static_cast<double>(wholeSeconds);
    }
    std::array<char, 24 + longestFraction> buffer{};
    char* end = buffer.data();
    const bool negative = wholeSeconds < 0;
    if (negative) {
        *end++ = '-';
    }
    end = std::to_chars(end, buffer.data() + buffer.size(),
                        negative ? -wholeSeconds - 1 : wholeSeconds)
              .ptr;
    *end++ = '.';
    for (const char digit : fractionDigits) {
        *end++ = negative ? static_cast<char>('9' - digit + '0') : digit;
    }
    if (negative) {
        // Nine's complement plus one in the last place; the fraction is not zero, so the carry
        // stops before the point.
        char* place = end - 1;
        while (*place == '9') {
            *place-- = '0';
        }
        ++*place;
    }
    double seconds = 0;
    std::from_chars(buffer.data(), end, seconds);
    return seconds;
}

struct WholeAndMilliseconds {
    double wholeSeconds;
    double milliseconds;
};

WholeAndMilliseconds nearestMillisecond(double seconds) noexcept {
    double whole = std::floor(seconds);
    double milliseconds = std::round((seconds - whole) * 1000);
    if (milliseconds == 1000) {
        whole += 1;
        milliseconds = 0;
    }
    return {whole, milliseconds};
}

}  // namespace

bool canWrite(double secondsSince1970) noexcept {
    const double whole = asWritten(secondsSince1970);
    return whole >= earliest && whole < endSeconds;
}

bool canWriteWithMilliseconds(double secondsSince1970) noexcept {
    return canWrite(nearestMillisecond(secondsSince1970).wholeSeconds);
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

std::string textWithMilliseconds(double secondsSince1970) {
    const WholeAndMilliseconds parts = nearestMillisecond(secondsSince1970);
    // `text` refuses a time that is not finite before its milliseconds are converted.
    std::string out = text(parts.wholeSeconds);
    std::string fraction = ".";
    appendDigits(fraction, static_cast<long long>(parts.milliseconds), 3);
    out.insert(out.size() - 1, fraction);
    return out;
}

std::optional<double> secondsSince1970(std::string_view text) noexcept {
    const std::optional<ParsedTime> parsed = parse(text, false);
    // An offset can carry a time past either end of the four-digit years, where it could not be
    // written back.
    if (!parsed || !canWrite(static_cast<double>(parsed->wholeSeconds))) {
        return std::nullopt;
    }
    return static_cast<double>(parsed->wholeSeconds);
}

std::optional<double> fractionalSecondsSince1970(std::string_view text) noexcept {
    const std::optional<ParsedTime> parsed = parse(text, true);
    if (!parsed) {
        return std::nullopt;
    }
    const double seconds = withFraction(parsed->wholeSeconds, parsed->fractionDigits);
    if (!canWriteWithMilliseconds(seconds)) {
        return std::nullopt;
    }
    return seconds;
}

}  // namespace tallowbeck::InternetDateTime
