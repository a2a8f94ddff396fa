#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck {

// A 128-bit universally unique identifier.
class UUID {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}

    // A new random (version 4) identifier.
    static UUID random();
    // The 8-4-4-4-12 hexadecimal form, in either case; anything else gives nothing.
    static std::optional<UUID> fromText(std::string_view text) noexcept;

    // The canonical form: upper-case hexadecimal, 8-4-4-4-12.
    std::string text() const;
    const Bytes& bytes() const noexcept { return bytes_; }

    friend bool operator==(const UUID&, const UUID&) = default;

private:
    Bytes bytes_;
};

}  // namespace tallowbeck

template <>
struct std::hash<tallowbeck::UUID> {
    std::size_t operator()(const tallowbeck::UUID& uuid) const noexcept;
};
