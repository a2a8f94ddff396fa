#pragma once

#include <CLI/CLI.hpp>

namespace tallowbeck::cli {

// Checks of the commands' numeric options. CLI11's own number checks let "nan" through.

// Far beyond any useful interval, and well within what the clocks' nanoseconds can hold.
inline constexpr double longestInterval = 365.0 * 24 * 60 * 60;

// A finite number of seconds above 0 and up to a year.
const CLI::Validator& positiveInterval();
// A finite number of at least 0.
const CLI::Validator& nonNegativeNumber();

}  // namespace tallowbeck::cli
