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

}  // namespace tallowbeck
