#include "TallowbeckCore/support/UUID.hpp"

#include <uuid/uuid.h>

namespace tallowbeck {

namespace {

constexpr std::size_t textLength = 36;

// The 8-4-4-4-12 groups are separated at these offsets of the text.
constexpr bool isDashPosition(std::size_t position) noexcept {
    return position == 8 || position == 13 || position == 18 || position == 23;
}

// Each character's value as a hexadecimal digit, or -1. A table rather than comparisons: in
// random identifiers digits and letters alternate unpredictably, and every misguessed branch
// costs more than the lookup.
constexpr std::array<std::int8_t, 256> hexDigitValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t digit = 0; digit < 10; ++digit) {
        values['0' + digit] = static_cast<std::int8_t>(digit);
    }
    for (std::size_t letter = 0; letter < 6; ++letter) {
        values['a' + letter] = static_cast<std::int8_t>(10 + letter);
        values['A' + letter] = static_cast<std::int8_t>(10 + letter);
    }
    return values;
}();

int hexDigitValue(char character) noexcept {
    return hexDigitValues[static_cast<unsigned char>(character)];
}

}  // namespace

UUID UUID::random() {
    Bytes bytes{};
    uuid_generate_random(bytes.data());
    return UUID(bytes);
}

std::optional<UUID> UUID::fromText(std::string_view text) noexcept {
    // Read by hand: a history holds tens of thousands of identifiers, and libuuid's parser takes
    // several times longer than the JSON around them.
    if (text.size() != textLength) {
        return std::nullopt;
    }
    Bytes bytes{};
    std::size_t position = 0;
    for (std::uint8_t& byte : bytes) {
        if (isDashPosition(position)) {
            if (text[position] != '-') {
                return std::nullopt;
            }
            ++position;
        }
        const int high = hexDigitValue(text[position]);
        const int low = hexDigitValue(text[position + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        byte = static_cast<std::uint8_t>(high << 4 | low);
        position += 2;
    }
    return UUID(bytes);
}

std::string UUID::text() const {
    std::array<char, textLength + 1> buffer{};
    uuid_unparse_upper(bytes_.data(), buffer.data());
    return std::string(buffer.data(), textLength);
}

}  // namespace tallowbeck

std::size_t std::hash<tallowbeck::UUID>::operator()(const tallowbeck::UUID& uuid) const noexcept {
    // Random identifiers are already uniformly spread; folding the two halves keeps all of it.
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    for (std::size_t index = 0; index < 8; ++index) {
        high = (high << 8) | uuid.bytes()[index];
        low = (low << 8) | uuid.bytes()[index + 8];
    }
    return static_cast<std::size_t>(high ^ low);
}
