#include "TallowbeckCore/support/JSONNumberText.hpp"

#include <simdjson.h>

namespace tallowbeck::JSONNumberText {
namespace {

// A token's text runs up to the next token; the blanks in between are not the number's.
std::string_view withoutTrailingBlanks(std::string_view token) noexcept {
    const std::size_t end = token.find_last_not_of(" \t\r\n");
    return token.substr(0, end == std::string_view::npos ? 0 : end + 1);
}

}  // namespace

std::optional<std::string> ofMember(std::string_view json, std::string_view key) {
    const simdjson::padded_string padded(json);
    simdjson::ondemand::parser parser;
    simdjson::ondemand::document document;
    simdjson::ondemand::object object;
    if (parser.iterate(padded).get(document) != simdjson::SUCCESS ||
        document.get_object().get(object) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    for (auto member : object) {
        std::string_view name;
        if (member.unescaped_key().get(name) != simdjson::SUCCESS) {
            return std::nullopt;
        }
        if (name != key) {
            continue;
        }
        simdjson::ondemand::value value;
        simdjson::ondemand::json_type type{};
        if (member.value().get(value) != simdjson::SUCCESS ||
            value.type().get(type) != simdjson::SUCCESS ||
            type != simdjson::ondemand::json_type::number) {
            return std::nullopt;
        }
        return std::string(withoutTrailingBlanks(value.raw_json_token()));
    }
    return std::nullopt;
}

}  // namespace tallowbeck::JSONNumberText
