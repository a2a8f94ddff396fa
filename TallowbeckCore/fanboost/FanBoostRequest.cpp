#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"

#include <array>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {
namespace {

using Operation = FanBoostRequest::Operation;

constexpr std::string_view operationKey = "operation";
constexpr std::array<std::pair<std::string_view, Operation>, 3> operationNames{{
    {"begin", Operation::begin},
    {"heartbeat", Operation::heartbeat},
    {"stop", Operation::stop},
}};

std::string_view nameOf(Operation operation) noexcept {
    for (const auto& [name, known] : operationNames) {
        if (known == operation) {
            return name;
        }
    }
    return {};
}

std::string bare(Operation operation) {
    JSONWriter json;
    json.beginObject().key(operationKey).value(nameOf(operation)).endObject();
    return json.text();
}

}  // namespace

std::string FanBoostRequest::begin(const FanBoostConfiguration& configuration) {
    JSONWriter json;
    json.beginObject().key(operationKey).value(nameOf(Operation::begin));
    configuration.writeMembers(json);
    json.endObject();
    return json.text();
}

std::string FanBoostRequest::heartbeat() { return bare(Operation::heartbeat); }

std::string FanBoostRequest::stop() { return bare(Operation::stop); }

FanBoostRequest::Operation FanBoostRequest::operation(std::string_view request) {
    simdjson::dom::parser parser;
    const std::string_view name = JSONObject::parse(parser, request).requiredString(operationKey);
    for (const auto& [known, operation] : operationNames) {
        if (name == known) {
            return operation;
        }
    }
    throw DecodingError(DecodingError::Kind::dataCorrupted, std::string(operationKey),
                        "not an operation of the fan helper");
}

std::string_view FanBoostRequest::problem(const DecodingError& error) noexcept {
    const bool unknownOperation =
        error.kind() == DecodingError::Kind::dataCorrupted && error.key() == operationKey;
    return unknownOperation ? unknownOperationMessage : malformedMessage;
}

}  // namespace tallowbeck
