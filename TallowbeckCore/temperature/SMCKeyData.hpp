#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace tallowbeck {

// Packs a four-character key or type text into the controller's 32-bit code: the first
// character ends in the most significant byte.
constexpr std::uint32_t fourCharCode(std::string_view text) noexcept {
    std::uint32_t code = 0;
    for (const char character : text) {
        code = (code << 8) + static_cast<std::uint8_t>(character);
    }
    return code;
}

// The 80-byte structure exchanged with the controller's user client, the same layout for input
// and output, in host byte order.
struct SMCKeyData {
    static constexpr std::size_t size = 80;
    using Bytes = std::array<std::byte, size>;

    // The user client's structure call.
    static constexpr std::uint32_t structMethodSelector = 2;
    // Operations, stored in `command`.
    static constexpr std::uint8_t readKeyInfoCommand = 9;
    static constexpr std::uint8_t readBytesCommand = 5;
    static constexpr std::uint8_t writeBytesCommand = 6;
    // Value types, stored in `dataType`: a 32-bit float and an unsigned byte.
    static constexpr std::uint32_t floatType = fourCharCode("flt ");
    static constexpr std::uint32_t byteType = fourCharCode("ui8 ");

    std::uint32_t key = 0;                           // fourCharCode of the key
    std::array<std::uint8_t, 24> protocolVersion{};  // version and power-limit block, unused
    std::uint32_t dataSize = 0;                      // key info: the value's size in bytes
    std::uint32_t dataType = 0;                      // key info: fourCharCode of the type
    std::array<std::uint8_t, 4> dataAttributes{};    // key info: attributes and padding
    std::uint8_t result = 0;                         // 0 when the controller succeeded
    std::uint8_t status = 0;
    std::uint8_t command = 0;
    std::uint8_t padding = 0;
    std::uint32_t data32 = 0;
    std::array<std::uint8_t, 32> bytes{};  // the key's value

    // An input for `command` on `key`, every other field zero.
    static constexpr SMCKeyData request(std::string_view key, std::uint8_t command) noexcept {
        SMCKeyData input;
        input.key = fourCharCode(key);
        input.command = command;
        return input;
    }

    Bytes toBytes() const noexcept { return std::bit_cast<Bytes>(*this); }
    static SMCKeyData fromBytes(const Bytes& raw) noexcept {
        return std::bit_cast<SMCKeyData>(raw);
    }

    // The first four value bytes as an IEEE-754 single-precision number.
    float floatValue() const noexcept {
        float value = 0;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
};

// The controller's layout is little-endian, and host byte order is used on both sides of the
// call, so a big-endian host would misread every field.
static_assert(std::endian::native == std::endian::little);
static_assert(sizeof(float) == 4);
static_assert(std::is_standard_layout_v<SMCKeyData>);
static_assert(std::is_trivially_copyable_v<SMCKeyData>);
static_assert(sizeof(SMCKeyData) == SMCKeyData::size);
static_assert(offsetof(SMCKeyData, key) == 0);
static_assert(offsetof(SMCKeyData, protocolVersion) == 4);
static_assert(offsetof(SMCKeyData, dataSize) == 28);
static_assert(offsetof(SMCKeyData, dataType) == 32);
static_assert(offsetof(SMCKeyData, dataAttributes) == 36);
static_assert(offsetof(SMCKeyData, result) == 40);
static_assert(offsetof(SMCKeyData, status) == 41);
static_assert(offsetof(SMCKeyData, command) == 42);
static_assert(offsetof(SMCKeyData, padding) == 43);
static_assert(offsetof(SMCKeyData, data32) == 44);
static_assert(offsetof(SMCKeyData, bytes) == 48);

}  // namespace tallowbeck
