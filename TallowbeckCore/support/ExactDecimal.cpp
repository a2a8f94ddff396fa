#include "TallowbeckCore/support/ExactDecimal.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tallowbeck {
namespace {

// Leading digits beyond these powers of ten are out of every double's reach.
constexpr std::int64_t highestLeadingPower = 400;
constexpr std::int64_t lowestLeadingPower = -1100;
// Whole numbers of more digits are written with an exponent.
constexpr std::int64_t longestWholeNumber = 19;
// Any exponent beyond this is beyond both limits whatever the digits.
constexpr std::int64_t exponentCap = 1'000'000'000;

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

// The run of digits at the start of `text`, removed from it.
std::string_view takeDigits(std::string_view& text) noexcept {
    const std::size_t count = static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
}

bool takePrefix(std::string_view& text, char character) noexcept {
    if (text.empty() || text.front() != character) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// The digits as a number, held at the cap when they go beyond it.
std::int64_t cappedValue(std::string_view digits) noexcept {
    std::int64_t value = 0;
    for (const char digit : digits) {
        value = std::min(exponentCap, value * 10 + (digit - '0'));
    }
    return value;
}

// Magnitudes are digit strings, most significant digit first, of equal length.
std::string addMagnitudes(const std::string& left, const std::string& right) {
    std::string sum(left.size() + 1, '0');
    int carry = 0;
    for (std::size_t index = left.size(); index-- > 0;) {
        const int digit = (left[index] - '0') + (right[index] - '0') + carry;
        sum[index + 1] = static_cast<char>('0' + digit % 10);
        carry = digit / 10;
    }
    sum[0] = static_cast<char>('0' + carry);
    return sum;
}

// `larger` minus `smaller`.
std::string subtractMagnitudes(const std::string& larger, const std::string& smaller) {
    std::string difference(larger.size(), '0');
    int borrow = 0;
    for (std::size_t index = larger.size(); index-- > 0;) {
        int digit = (larger[index] - '0') - (smaller[index] - '0') - borrow;
        borrow = digit < 0 ? 1 : 0;
        digit += borrow * 10;
        difference[index] = static_cast<char>('0' + digit);
    }
    return difference;
}

// `digits` followed by `zeros` zeros, then padded in front to `width`.
std::string aligned(const std::string& digits, std::int64_t zeros, std::size_t width) {
    std::string result = digits + std::string(static_cast<std::size_t>(zeros), '0');
    result.insert(0, width - result.size(), '0');
    return result;
}

}  // namespace

ExactDecimal::ExactDecimal(bool negative, std::string digits, std::int64_t exponent)
    : negative_(negative), digits_(std::move(digits)), exponent_(exponent) {
    const std::size_t first = digits_.find_first_not_of('0');
    if (first == std::string::npos) {
        digits_.clear();
        exponent_ = 0;
        return;
    }
    const std::size_t last = digits_.find_last_not_of('0');
    exponent_ += static_cast<std::int64_t>(digits_.size() - 1 - last);
    digits_ = digits_.substr(first, last + 1 - first);
}

std::optional<ExactDecimal> ExactDecimal::parse(std::string_view jsonNumber) {
    std::string_view rest = jsonNumber;
    const bool negative = takePrefix(rest, '-');
    const std::string_view whole = takeDigits(rest);
    if (whole.empty() || (whole.size() > 1 && whole.front() == '0')) {
        return std::nullopt;
    }
    std::string_view fraction;
    if (takePrefix(rest, '.')) {
        fraction = takeDigits(rest);
        if (fraction.empty()) {
            return std::nullopt;
        }
    }
    std::int64_t exponent = 0;
    if (takePrefix(rest, 'e') || takePrefix(rest, 'E')) {
        const bool negativeExponent = takePrefix(rest, '-');
        if (!negativeExponent) {
            takePrefix(rest, '+');
        }
        const std::string_view exponentDigits = takeDigits(rest);
        if (exponentDigits.empty()) {
            return std::nullopt;
        }
        exponent = cappedValue(exponentDigits) * (negativeExponent ? -1 : 1);
    }
    if (!rest.empty()) {
        return std::nullopt;
    }
    ExactDecimal number(negative, std::string(whole) + std::string(fraction),
                        exponent - static_cast<std::int64_t>(fraction.size()));
    if (number.digits_.empty()) {
        return number;
    }
    if (number.leadingPower() > highestLeadingPower) {
        return std::nullopt;
    }
    if (number.leadingPower() < lowestLeadingPower) {
        return ExactDecimal(negative, "", 0);
    }
    return number;
}

ExactDecimal ExactDecimal::shortest(double finite) {
    if (!std::isfinite(finite)) {
        throw std::invalid_argument("only a finite double has a decimal form");
    }
    std::array<char, 32> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), finite);
    return *parse(std::string_view(buffer.data(), written.ptr));
}

ExactDecimal ExactDecimal::plus(std::int64_t whole) const {
    const bool wholeNegative = whole < 0;
    // Through the unsigned magnitude, so that the lowest whole number has one as well.
    const std::uint64_t magnitude =
        wholeNegative ? 0 - static_cast<std::uint64_t>(whole) : static_cast<std::uint64_t>(whole);
    const ExactDecimal other(wholeNegative, std::to_string(magnitude), 0);
    if (other.digits_.empty()) {
        return *this;
    }
    if (digits_.empty()) {
        return other;
    }
    const std::int64_t exponent = std::min(exponent_, other.exponent_);
    const std::size_t width =
        std::max(digits_.size() + static_cast<std::size_t>(exponent_ - exponent),
                 other.digits_.size() + static_cast<std::size_t>(other.exponent_ - exponent));
    const std::string mine = aligned(digits_, exponent_ - exponent, width);
    const std::string theirs = aligned(other.digits_, other.exponent_ - exponent, width);
    if (negative_ == other.negative_) {
        return ExactDecimal(negative_, addMagnitudes(mine, theirs), exponent);
    }
    if (mine == theirs) {
        // As in floating point, a sum of opposites is positive zero.
        return ExactDecimal(false, "", 0);
    }
    if (mine > theirs) {
        return ExactDecimal(negative_, subtractMagnitudes(mine, theirs), exponent);
    }
    return ExactDecimal(other.negative_, subtractMagnitudes(theirs, mine), exponent);
}

std::string ExactDecimal::text() const {
    std::string text = negative_ ? "-" : "";
    if (digits_.empty()) {
        return text + "0";
    }
    if (exponent_ >= 0 && leadingPower() < longestWholeNumber) {
        return text + digits_ + std::string(static_cast<std::size_t>(exponent_), '0');
    }
    if (exponent_ >= 0) {
        return text + digits_ + "e" + std::to_string(exponent_);
    }
    const std::size_t fractionLength = static_cast<std::size_t>(-exponent_);
    if (fractionLength >= digits_.size()) {
        return text + "0." + std::string(fractionLength - digits_.size(), '0') + digits_;
    }
    const std::size_t wholeLength = digits_.size() - fractionLength;
    return text + digits_.substr(0, wholeLength) + "." + digits_.substr(wholeLength);
}

std::int64_t ExactDecimal::leadingPower() const noexcept {
    return exponent_ + static_cast<std::int64_t>(digits_.size()) - 1;
}

std::optional<double> ExactDecimal::nearestDouble() const {
    if (digits_.empty()) {
        return negative_ ? -0.0 : 0.0;
    }
    const std::string scientific =
        (negative_ ? "-" : "") + digits_ + "e" + std::to_string(exponent_);
    double value = 0.0;
    const auto [end, error] =
        std::from_chars(scientific.data(), scientific.data() + scientific.size(), value);
    if (error == std::errc::result_out_of_range) {
        // Below the smallest double the value rounds to zero; above the largest there is none.
        if (leadingPower() < 0) {
            return negative_ ? -0.0 : 0.0;
        }
        return std::nullopt;
    }
    return value;
}

}  // namespace tallowbeck
