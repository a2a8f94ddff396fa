#pragma once

#include <optional>
#include <string>
#include <string_view>

// The digits of a JSON number as they stand in the text, for readers that need more than the
// nearest double.
namespace tallowbeck::JSONNumberText {

// The number that the first member named `key` of the object `json` holds. Nothing when `json`
// is not an object, or that member is missing or holds no number.
std::optional<std::string> ofMember(std::string_view json, std::string_view key);

}  // namespace tallowbeck::JSONNumberText
