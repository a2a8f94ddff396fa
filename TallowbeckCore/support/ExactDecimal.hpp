#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck {

// A decimal number held exactly, for sums that a double would round: adding a whole number of
// seconds to a time written as text loses nothing until the result is read as a double.
class ExactDecimal {
public:
    // The value of a JSON number's text. Nothing when the text is not a JSON number, or when its
    // value is beyond every double by far (above 1e400); a value below 1e-1100 is taken as 0,
    // which no sum with a whole number or rounding to a double can tell apart.
    static std::optional<ExactDecimal> parse(std::string_view jsonNumber);
    // The shortest decimal that reads back as `finite`.
    static ExactDecimal shortest(double finite);

    ExactDecimal plus(std::int64_t whole) const;

    // JSON number text that parses back to the same value: plain digits, with a point only where
    // there is a fraction. A whole number of more than 19 digits is written with an exponent
    // instead, since JSON readers take it as an integer otherwise and most refuse integers
    // beyond 64 bits.
    std::string text() const;
    // The double nearest to the value; nothing when it is beyond the largest double.
    std::optional<double> nearestDouble() const;

private:
    ExactDecimal(bool negative, std::string digits, std::int64_t exponent);

    // The power of ten of the leading digit; meaningless for zero.
    std::int64_t leadingPower() const noexcept;

    // The value is digits_ × 10^exponent_. digits_ has no leading or trailing zeros; empty is
    // zero, which keeps its sign as -0.0 does.
    bool negative_;
    std::string digits_;
    std::int64_t exponent_;
};

}  // namespace tallowbeck
