#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tallowbeck {

// JSON that does not describe the record it was read as. `key` names the member at fault; it is
// empty when the text as a whole is at fault (malformed JSON, not an object).
class DecodingError : public std::runtime_error {
public:
    enum class Kind {
        dataCorrupted,  // malformed JSON, or a value that is not one of the allowed ones
        keyNotFound,    // a required member is missing
        valueNotFound,  // a required member is null
        typeMismatch,   // a member has the wrong JSON type
    };

    DecodingError(Kind kind, std::string key, std::string_view problem);

    // The failures of reading JSON, worded alike whichever parser read it.
    static DecodingError malformedJSON(std::string_view parserMessage);
    // `what` names the value that should have been an object.
    static DecodingError notAnObject(std::string_view what);
    static DecodingError missingKey(std::string_view key);
    static DecodingError nullValue(std::string_view key);
    static DecodingError wrongType(std::string_view key, std::string_view expected);

    Kind kind() const noexcept { return kind_; }
    const std::string& key() const noexcept { return key_; }

protected:
    // The same error seen from a wider context: `message` becomes what() as it stands.
    DecodingError(const DecodingError& cause, const std::string& message);

private:
    Kind kind_;
    std::string key_;
};

}  // namespace tallowbeck
