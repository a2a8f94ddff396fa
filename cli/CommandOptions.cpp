#include "cli/CommandOptions.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>

#include "TallowbeckCore/support/InternetDateTime.hpp"

namespace tallowbeck::cli {

namespace {

std::string wholeNumberRange(std::int64_t least, std::int64_t most) {
    return most == std::numeric_limits<std::int64_t>::max()
               ? fmt::format("of at least {}", least)
               : fmt::format("from {} to {}", least, most);
}

bool isDecimalDigit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

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

CLI::Validator decimalWholeNumber(std::int64_t least, std::int64_t most) {
    const std::string range = wholeNumberRange(least, most);
    return CLI::Validator(
        [least, most, range](std::string& text) -> std::string {
            std::int64_t value = 0;
            const char* end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, value);
            if (std::all_of(text.begin(), text.end(), isDecimalDigit) && error == std::errc() &&
                stop == end && value >= least && value <= most) {
                // CLI11 converts what is left, where a leading zero would mean octal.
                text = std::to_string(value);
                return {};
            }
            return fmt::format("{} is not a whole number in decimal digits {}", text, range);
        },
        "INT " + range);
}

CLI::Option* addParsedOption(CLI::App& command, const std::string& name,
                             std::optional<double>& value, const std::string& description,
                             const std::string& help,
                             std::function<std::optional<double>(const std::string&)> parse) {
    return command.add_option_function<std::string>(
        name,
        [&value, name, description, parse = std::move(parse)](const std::string& text) {
            value = parse(text);
            if (!value) {
                throw CLI::ValidationError(name, text + " is not " + description);
            }
        },
        help);
}

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

CLI::Option* addMomentOption(CLI::App& command, std::optional<double>& moment) {
    return command
        .add_option_function<std::string>(
            "--at",
            [&moment](const std::string& text) {
                moment = InternetDateTime::fractionalSecondsSince1970(text);
                if (!moment) {
                    throw CLI::ValidationError(
                        "--at", fmt::format("{} is not an ISO 8601 date and time such as "
                                            "2024-05-01T12:34:56.250Z",
                                            text));
                }
            },
            "The moment instead of now, such as 2024-05-01T12:34:56.250Z or "
            "2024-05-01T14:34:56+02:00")
        ->type_name("DATE");
}

}  // namespace tallowbeck::cli
