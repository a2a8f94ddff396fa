#include "TallowbeckCore/support/UUID.hpp"

#include <uuid/uuid.h>

#include <algorithm>

namespace tallowbeck {

namespace {

constexpr std::size_t textLength = 36;

}  // namespace

UUID UUID::random() {
    Bytes bytes{};
    uuid_generate_random(bytes.data());
    return UUID(bytes);
}

std::optional<UUID> UUID::fromText(std::string_view text) noexcept {
    // The parser wants a terminated string and would stop early at an embedded zero.
    if (text.size() != textLength || text.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::array<char, textLength + 1> terminated{};
    std::copy(text.begin(), text.end(), terminated.begin());
    Bytes bytes{};
    if (uuid_parse(terminated.data(), bytes.data()) != 0) {
        return std::nullopt;
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
