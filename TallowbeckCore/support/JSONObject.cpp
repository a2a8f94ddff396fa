#include "TallowbeckCore/support/JSONObject.hpp"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

namespace tallowbeck {

namespace {

template <typename Value>
Value typed(simdjson::dom::element element, std::string_view key, std::string_view expected) {
    Value value{};
    if (element.get(value) != simdjson::SUCCESS) {
        throw DecodingError::wrongType(key, expected);
    }
    return value;
}

// simdjson reads integers apart from doubles; any JSON number is a double here.
double number(simdjson::dom::element element, std::string_view key) {
    if (!element.is_number()) {
        throw DecodingError::wrongType(key, "a number");
    }
    return typed<double>(element, key, "a number");
}

bool startsNumber(char character) noexcept {
    return character == '-' || (character >= '0' && character <= '9');
}

bool continuesNumber(char character) noexcept {
    return startsNumber(character) || character == '.' || character == 'e' || character == 'E' ||
           character == '+';
}

// Whether `number` is an integer that neither a signed nor an unsigned 64-bit integer holds.
bool isOversizedInteger(std::string_view number) noexcept {
    if (number.find_first_of(".eE") != std::string_view::npos) {
        return false;
    }
    const char* const end = number.data() + number.size();
    std::int64_t signedValue = 0;
    if (std::from_chars(number.data(), end, signedValue).ec != std::errc::result_out_of_range) {
        return false;
    }
    std::uint64_t unsignedValue = 0;
    return number.front() == '-' ||
           std::from_chars(number.data(), end, unsignedValue).ec == std::errc::result_out_of_range;
}

// The text with ".0" after every integer outside strings that does not fit 64 bits, so that the
// parser reads it as the nearest double instead of refusing it; every other integer stays one.
std::string withOversizedIntegersAsDecimals(std::string_view json) {
    std::string decimals;
    decimals.reserve(json.size() + json.size() / 4);
    bool inString = false;
    for (std::size_t index = 0; index < json.size();) {
        const char character = json[index];
        if (inString || character == '"' || !startsNumber(character)) {
            decimals += character;
            ++index;
            if (inString && character == '\\' && index < json.size()) {
                decimals += json[index++];
            } else if (character == '"') {
                inString = !inString;
            }
            continue;
        }
        std::size_t end = index + 1;
        while (end < json.size() && continuesNumber(json[end])) {
            ++end;
        }
        const std::string_view number = json.substr(index, end - index);
        decimals += number;
        if (isOversizedInteger(number)) {
            decimals += ".0";
        }
        index = end;
    }
    return decimals;
}

simdjson::dom::element parseDocument(simdjson::dom::parser& parser, std::string_view bytes) {
    simdjson::dom::element root;
    auto error = parser.parse(bytes.data(), bytes.size()).get(root);
    // The parser keeps nothing of the text it read, so the rewritten text may go at once.
    if (error == simdjson::NUMBER_ERROR) {
        const std::string decimals = withOversizedIntegersAsDecimals(bytes);
        error = parser.parse(decimals).get(root);
    }
    if (error) {
        throw DecodingError::malformedJSON(simdjson::error_message(error));
    }
    return root;
}

}  // namespace

JSONObject JSONObject::parse(simdjson::dom::parser& parser, std::string_view bytes) {
    return from(parseDocument(parser, bytes), "the text");
}

JSONObject JSONObject::from(simdjson::dom::element element, std::string_view what) {
    simdjson::dom::object object;
    if (element.get(object) != simdjson::SUCCESS) {
        throw DecodingError::notAnObject(what);
    }
    return JSONObject(object);
}

std::optional<simdjson::dom::element> JSONObject::find(std::string_view key) const noexcept {
    if (nextInOrder_ != object_.end() && nextInOrder_.key() == key) {
        const simdjson::dom::element element = nextInOrder_.value();
        ++nextInOrder_;
        return element;
    }
    simdjson::dom::element element;
    if (object_.at_key(key).get(element) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return element;
}

std::optional<simdjson::dom::element> JSONObject::member(std::string_view key) const noexcept {
    const std::optional<simdjson::dom::element> element = find(key);
    if (!element || element->is_null()) {
        return std::nullopt;
    }
    return element;
}

simdjson::dom::element JSONObject::requiredMember(std::string_view key) const {
    const std::optional<simdjson::dom::element> found = find(key);
    if (!found) {
        throw DecodingError::missingKey(key);
    }
    const simdjson::dom::element element = *found;
    if (element.is_null()) {
        throw DecodingError::nullValue(key);
    }
    return element;
}

std::string_view JSONObject::requiredString(std::string_view key) const {
    return typed<std::string_view>(requiredMember(key), key, "a string");
}

bool JSONObject::requiredBool(std::string_view key) const {
    return typed<bool>(requiredMember(key), key, "true or false");
}

double JSONObject::requiredNumber(std::string_view key) const {
    return number(requiredMember(key), key);
}

std::int64_t JSONObject::requiredInteger(std::string_view key) const {
    return typed<std::int64_t>(requiredMember(key), key, "an integer");
}

simdjson::dom::array JSONObject::requiredArray(std::string_view key) const {
    return typed<simdjson::dom::array>(requiredMember(key), key, "an array");
}

std::optional<bool> JSONObject::optionalBool(std::string_view key) const {
    const std::optional<simdjson::dom::element> element = member(key);
    if (!element) {
        return std::nullopt;
    }
    return typed<bool>(*element, key, "true or false");
}

std::optional<double> JSONObject::optionalNumber(std::string_view key) const {
    const std::optional<simdjson::dom::element> element = member(key);
    if (!element) {
        return std::nullopt;
    }
    return number(*element, key);
}

std::optional<std::string_view> JSONObject::optionalString(std::string_view key) const {
    const std::optional<simdjson::dom::element> element = member(key);
    if (!element) {
        return std::nullopt;
    }
    return typed<std::string_view>(*element, key, "a string");
}

std::optional<JSONObject> JSONObject::optionalObject(std::string_view key) const {
    const std::optional<simdjson::dom::element> element = member(key);
    if (!element) {
        return std::nullopt;
    }
    return JSONObject(typed<simdjson::dom::object>(*element, key, "an object"));
}

}  // namespace tallowbeck
