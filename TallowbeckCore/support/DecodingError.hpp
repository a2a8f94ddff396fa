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
