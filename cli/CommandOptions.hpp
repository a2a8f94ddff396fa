#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
class Validator;
}  // namespace CLI

namespace tallowbeck::cli {

// A finite number for which `accepts` holds; CLI11's own number checks let "nan" through.
CLI::Validator numberWhere(const std::string& name, const std::string& description,
                           bool (*accepts)(double));

// `--at DATE`: an ISO 8601 date and time with an optional fraction of a second and a "Z" or
// numeric offset, stored in `moment` as seconds since 1970 UTC. Any other text is a usage error.
CLI::Option* addMomentOption(CLI::App& command, std::optional<double>& moment);

}  // namespace tallowbeck::cli
