#include "TallowbeckCore/support/JSONWriter.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace tallowbeck {

namespace {

template <typename Number>
void appendNumber(std::string& out, Number number) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    out.append(buffer.data(), result.ptr);
}

}  // namespace

JSONWriter& JSONWriter::beginObject() {
    open('{');
    return *this;
}

JSONWriter& JSONWriter::endObject() {
    close('}');
    return *this;
}

JSONWriter& JSONWriter::beginArray() {
    open('[');
    return *this;
}

JSONWriter& JSONWriter::endArray() {
    close(']');
    return *this;
}

JSONWriter& JSONWriter::key(std::string_view name) {
    separate();
    appendQuoted(name);
    text_ += ':';
    afterKey_ = true;
    return *this;
}

JSONWriter& JSONWriter::value(std::string_view text) {
    separate();
    appendQuoted(text);
    return *this;
}

JSONWriter& JSONWriter::value(bool flag) {
    separate();
    text_ += flag ? "true" : "false";
    return *this;
}

JSONWriter& JSONWriter::value(double number) {
    if (!std::isfinite(number)) {
        return null();
    }
    separate();
    appendNumber(text_, number);
    return *this;
}

JSONWriter& JSONWriter::value(std::int64_t number) {
    separate();
    appendNumber(text_, number);
    return *this;
}

JSONWriter& JSONWriter::value(std::uint64_t number) {
    separate();
    appendNumber(text_, number);
    return *this;
}

JSONWriter& JSONWriter::null() {
    separate();
    text_ += "null";
    return *this;
}

JSONWriter& JSONWriter::numberText(std::string_view text) {
    separate();
    text_ += text;
    return *this;
}

// Puts the comma between siblings; a value right after its key needs none.
void JSONWriter::separate() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!containerHasMembers_.empty()) {
        if (containerHasMembers_.back()) {
            text_ += ',';
        }
        containerHasMembers_.back() = true;
    }
}

void JSONWriter::open(char bracket) {
    separate();
    text_ += bracket;
    containerHasMembers_.push_back(false);
}

void JSONWriter::close(char bracket) {
    text_ += bracket;
    containerHasMembers_.pop_back();
}

void JSONWriter::appendQuoted(std::string_view text) {
    static constexpr char hexDigits[] = "0123456789abcdef";
    text_ += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '"':
                text_ += "\\\"";
                break;
            case '\\':
                text_ += "\\\\";
                break;
            case '\n':
                text_ += "\\n";
                break;
            case '\r':
                text_ += "\\r";
                break;
            case '\t':
                text_ += "\\t";
                break;
            case '\b':
                text_ += "\\b";
                break;
            case '\f':
                text_ += "\\f";
                break;
            default:
                if (byte < 0x20) {
                    text_ += "\\u00";
                    text_ += hexDigits[byte >> 4];
                    text_ += hexDigits[byte & 0xF];
                } else {
                    text_ += c;
                }
        }
    }
    text_ += '"';
}

}  // namespace tallowbeck
