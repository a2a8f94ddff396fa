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

DecodingError DecodingError::malformedJSON(std::string_view parserMessage) {
    return DecodingError(Kind::dataCorrupted, "", "malformed JSON: " + std::string(parserMessage));
}

DecodingError DecodingError::notAnObject(std::string_view what) {
    return DecodingError(Kind::typeMismatch, "", std::string(what) + " is not a JSON object");
}

DecodingError DecodingError::missingKey(std::string_view key) {
    return DecodingError(Kind::keyNotFound, std::string(key), "required key is missing");
}

DecodingError DecodingError::nullValue(std::string_view key) {
    return DecodingError(Kind::valueNotFound, std::string(key), "required value is null");
}

DecodingError DecodingError::wrongType(std::string_view key, std::string_view expected) {
    return DecodingError(Kind::typeMismatch, std::string(key), "expected " + std::string(expected));
}

DecodingError::DecodingError(const DecodingError& cause, const std::string& message)
    : std::runtime_error(message), kind_(cause.kind_), key_(cause.key_) {}

}  // namespace tallowbeck
