#pragma once

#include <simdjson.h>

#include <optional>
#include <string_view>

#include "TallowbeckCore/support/DecodingError.hpp"

namespace tallowbeck {

// Typed access to the members of one JSON object met while simdjson's On-Demand parser walks a
// document front to back, which reads a large document in a fraction of the time that building
// its whole tree takes. Reads as JSONObject reads and fails with the same DecodingErrors, except
// that members not asked for are skipped unchecked and keys are compared as written, escapes and
// all. Ask for each key once, preferably in the order written (any other order costs a pass
// through the members). Strings live in the parser's memory.
//
// This header is internal to the library: the installed headers do not expose the JSON parser.
class OnDemandJSONObject {
public:
    explicit OnDemandJSONObject(simdjson::ondemand::object object) noexcept : object_(object) {}

    // An element of the document being walked, such as an item of an array.
    static OnDemandJSONObject from(simdjson::ondemand::value element, std::string_view what);

    // The look-ups are inlined into the caller, as simdjson's own reading is: with the key in
    // sight, finding a member costs a few instructions rather than a call and a byte-wise
    // comparison, which a history's hundreds of thousands of members add up to a millisecond.
    simdjson_inline std::string_view requiredString(std::string_view key) const {
        return required<std::string_view>(key, simdjson::ondemand::json_type::string, "a string");
    }
    simdjson_inline bool requiredBool(std::string_view key) const {
        return required<bool>(key, simdjson::ondemand::json_type::boolean, "true or false");
    }

    // Missing and null both give nothing. Any JSON number reads as the nearest double, an
    // integer beyond 64 bits included.
    simdjson_inline std::optional<bool> optionalBool(std::string_view key) const {
        return optional<bool>(key, simdjson::ondemand::json_type::boolean, "true or false");
    }
    simdjson_inline std::optional<double> optionalNumber(std::string_view key) const {
        return optional<double>(key, simdjson::ondemand::json_type::number, "a number");
    }

private:
    // Each reads first and asks why only when that fails: the common case costs one look at
    // the text.
    template <typename Value>
    simdjson_inline Value required(std::string_view key, simdjson::ondemand::json_type type,
                                   std::string_view expected) const;
    template <typename Value>
    simdjson_inline std::optional<Value> optional(std::string_view key,
                                                  simdjson::ondemand::json_type type,
                                                  std::string_view expected) const;

    // Whether there is a member with this key; its value, to be read before the next look-up,
    // goes to `value`.
    simdjson_inline bool find(std::string_view key, simdjson::ondemand::value& value) const;

    // Why the value could not be read as `type`: returns when it is null and throws the
    // DecodingError that says why otherwise.
    static void explainUnread(simdjson::ondemand::value& value, simdjson::error_code error,
                              simdjson::ondemand::json_type type, std::string_view key,
                              std::string_view expected);
    static simdjson::ondemand::json_type typeOf(simdjson::ondemand::value& value);
    [[noreturn]] static void throwMalformed(simdjson::error_code error);

    // The walk moves on as members are read.
    mutable simdjson::ondemand::object object_;
};

template <typename Value>
Value OnDemandJSONObject::required(std::string_view key, simdjson::ondemand::json_type type,
                                   std::string_view expected) const {
    simdjson::ondemand::value value;
    if (!find(key, value)) {
        throw DecodingError::missingKey(key);
    }
    Value result{};
    if (const simdjson::error_code error = value.get(result)) {
        explainUnread(value, error, type, key, expected);
        throw DecodingError::nullValue(key);
    }
    return result;
}

template <typename Value>
std::optional<Value> OnDemandJSONObject::optional(std::string_view key,
                                                  simdjson::ondemand::json_type type,
                                                  std::string_view expected) const {
    simdjson::ondemand::value value;
    if (!find(key, value)) {
        return std::nullopt;
    }
    Value result{};
    if (const simdjson::error_code error = value.get(result)) {
        explainUnread(value, error, type, key, expected);
        return std::nullopt;
    }
    return result;
}

bool OnDemandJSONObject::find(std::string_view key, simdjson::ondemand::value& value) const {
    const simdjson::error_code error = object_.find_field_unordered(key).get(value);
    if (error == simdjson::NO_SUCH_FIELD) {
        return false;
    }
    if (error) {
        throwMalformed(error);
    }
    return true;
}

}  // namespace tallowbeck
