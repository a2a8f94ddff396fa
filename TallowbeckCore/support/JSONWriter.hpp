#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallowbeck {

// Compact JSON text built member by member. Numbers use the shortest text that reads back as the
// same double; a non-finite double, which JSON cannot express, is written as null.
class JSONWriter {
public:
    JSONWriter& beginObject();
    JSONWriter& endObject();
    JSONWriter& beginArray();
    JSONWriter& endArray();

    // The key of the next object member.
    JSONWriter& key(std::string_view name);

    JSONWriter& value(std::string_view text);
    JSONWriter& value(const char* text) { return value(std::string_view(text)); }
    JSONWriter& value(bool flag);
    JSONWriter& value(double number);
    JSONWriter& value(std::int64_t number);
    JSONWriter& value(std::uint64_t number);
    JSONWriter& null();
    // A JSON number's text, written as it stands: for numbers that a double cannot hold exactly.
    // The caller vouches that it is one.
    JSONWriter& numberText(std::string_view text);

    // A member written only when the value is present: absent values have no key at all.
    template <typename T>
    JSONWriter& optionalMember(std::string_view name, const std::optional<T>& maybe) {
        return maybe ? key(name).value(*maybe) : *this;
    }

    const std::string& text() const noexcept { return text_; }

private:
    void separate();
    void open(char bracket);
    void close(char bracket);
    void appendQuoted(std::string_view text);

    std::string text_;
    std::vector<bool> containerHasMembers_;
    bool afterKey_ = false;
};

}  // namespace tallowbeck
