#pragma once

#include <simdjson.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "TallowbeckCore/support/DecodingError.hpp"

namespace tallowbeck {

// Typed access to the members of one parsed JSON object; every failure is a DecodingError that
// names the member. Keys match exactly; members not asked for are ignored. Ask for each key
// once: a key repeated in the text may otherwise give its later value. The object lives in
// its parser's memory, so it must not outlive the parser or the parser's next parse.
//
// This header is internal to the library: the installed headers do not expose the JSON parser.
class JSONObject {
public:
    explicit JSONObject(simdjson::dom::object object) noexcept
        : object_(object), nextInOrder_(object.begin()) {}

    // `bytes` as a whole must be one JSON object, held in the parser's memory. Any JSON number
    // reads as the nearest double, an integer beyond 64 bits included; only one beyond the range
    // of doubles fails. Throws DecodingError (dataCorrupted) for text that is not JSON.
    static JSONObject parse(simdjson::dom::parser& parser, std::string_view bytes);
    // An element known to be inside a larger document, such as an item of an array.
    static JSONObject from(simdjson::dom::element element, std::string_view what);

    std::string_view requiredString(std::string_view key) const;
    bool requiredBool(std::string_view key) const;
    double requiredNumber(std::string_view key) const;
    // A number without fraction or exponent that fits 64 signed bits.
    std::int64_t requiredInteger(std::string_view key) const;
    simdjson::dom::array requiredArray(std::string_view key) const;

    // Missing and null both give nothing.
    std::optional<bool> optionalBool(std::string_view key) const;
    std::optional<double> optionalNumber(std::string_view key) const;
    std::optional<std::string_view> optionalString(std::string_view key) const;
    std::optional<JSONObject> optionalObject(std::string_view key) const;

private:
    // The member's value; nothing when it is missing or null.
    std::optional<simdjson::dom::element> member(std::string_view key) const noexcept;
    simdjson::dom::element requiredMember(std::string_view key) const;

    // The member with this key, present or null; nothing when there is none.
    std::optional<simdjson::dom::element> find(std::string_view key) const noexcept;

    simdjson::dom::object object_;
    // Where the next member is when they are asked for in the order they were written, as this
    // library writes and reads them: each is then found with one comparison instead of a search.
    mutable simdjson::dom::object::iterator nextInOrder_;
};

}  // namespace tallowbeck
