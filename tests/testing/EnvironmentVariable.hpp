#pragma once

#include <optional>
#include <string>

namespace tallowbeck::testing {

// Gives the process's environment variable `name` the value `value` (or removes it, for
// nothing) until it goes; then it is as it was.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string name, const std::optional<std::string>& value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    std::string name_;
    std::optional<std::string> previous_;
};

}  // namespace tallowbeck::testing
