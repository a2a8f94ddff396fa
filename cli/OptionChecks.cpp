#include "cli/OptionChecks.hpp"

#include <fmt/core.h>

#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

namespace tallowbeck::cli {

namespace {

// A finite number for which `accepts` holds; CLI11's own number checks let "nan" through.
CLI::Validator numberWhere(const std::string& name, const std::string& description,
                           bool (*accepts)(double)) {
    return CLI::Validator(
        [description, accepts](std::string& text) -> std::string {
            double value = 0;
            const char* end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, value);
            if (error == std::errc() && stop == end && std::isfinite(value) && accepts(value)) {
                return {};
            }
            return fmt::format("{} is not {}", text, description);
        },
        name);
}

}  // namespace

const CLI::Validator& positiveInterval() {
    static const CLI::Validator validator =
        numberWhere("POSITIVE", "a positive number of seconds up to a year",
                    [](double seconds) { return seconds > 0 && seconds <= longestInterval; });
    return validator;
}

const CLI::Validator& nonNegativeNumber() {
    static const CLI::Validator validator = numberWhere("NONNEGATIVE", "a number of at least 0",
                                                        [](double number) { return number >= 0; });
    return validator;
}

}  // namespace tallowbeck::cli
