#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
class Validator;
}  // namespace CLI

namespace tallowbeck::cli {

// Far beyond any useful interval, and well within what the clocks' nanoseconds can hold.
inline constexpr double longestInterval = 365.0 * 24 * 60 * 60;

// A finite number for which `accepts` holds; CLI11's own number checks let "nan" through.
CLI::Validator numberWhere(const std::string& name, const std::string& description,
                           bool (*accepts)(double));

// A finite number of seconds above 0 and up to a year.
const CLI::Validator& positiveInterval();
// A finite number of at least 0.
const CLI::Validator& nonNegativeNumber();

// A whole number from `least` to `most` in decimal digits alone, "0123" being 123. Every integer
// option takes it, through `transform`, which lets it drop the leading zeros (`check` would not):
// CLI11 alone reads integers as C literals, "0123" as 83 and "0x10" as 16.
CLI::Validator decimalWholeNumber(std::int64_t least,
                                  std::int64_t most = std::numeric_limits<std::int64_t>::max());

// An option whose text `parse` turns into `value` once, as it is read; text it refuses (nothing
// back) is a usage error saying that the text "is not `description`".
CLI::Option* addParsedOption(CLI::App& command, const std::string& name,
                             std::optional<double>& value, const std::string& description,
                             const std::string& help,
                             std::function<std::optional<double>(const std::string&)> parse);

// `--at DATE`: an ISO 8601 date and time with an optional fraction of a second and a "Z" or
// numeric offset, stored in `moment` as seconds since 1970 UTC. Any other text is a usage error.
CLI::Option* addMomentOption(CLI::App& command, std::optional<double>& moment);

}  // namespace tallowbeck::cli
