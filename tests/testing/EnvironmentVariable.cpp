#include "tests/testing/EnvironmentVariable.hpp"

#include <cstdlib>
#include <utility>

namespace tallowbeck::testing {
namespace {

void assign(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
        ::setenv(name.c_str(), value->c_str(), 1);
    } else {
        ::unsetenv(name.c_str());
    }
}

}  // namespace

EnvironmentVariable::EnvironmentVariable(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
    if (const char* current = std::getenv(name_.c_str())) {
        previous_ = current;
    }
    assign(name_, value);
}

EnvironmentVariable::~EnvironmentVariable() { assign(name_, previous_); }

}  // namespace tallowbeck::testing
