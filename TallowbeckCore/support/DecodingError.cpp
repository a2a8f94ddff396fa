#include "TallowbeckCore/support/DecodingError.hpp"

#include <utility>

namespace tallowbeck {

namespace {

std::string describe(const std::string& key, std::string_view problem) {
    if (key.empty()) {
        return std::string(problem);
    }
    return '"' + key + "\": " + std::string(problem);
}

}  // namespace

DecodingError::DecodingError(Kind kind, std::string key, std::string_view problem)
    : std::runtime_error(describe(key, problem)), kind_(kind), key_(std::move(key)) {}

DecodingError::DecodingError(const DecodingError& cause, const std::string& message)
    : std::runtime_error(message), kind_(cause.kind_), key_(cause.key_) {}

}  // namespace tallowbeck
