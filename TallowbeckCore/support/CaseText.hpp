#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tallowbeck {

// The case of `cases` whose `textValue` is exactly `text`, if any.
template <typename Enumeration, std::size_t count>
std::optional<Enumeration> caseWithText(const std::array<Enumeration, count>& cases,
                                        std::string_view text) noexcept {
    for (const Enumeration candidate : cases) {
        if (textValue(candidate) == text) {
            return candidate;
        }
    }
    return std::nullopt;
}

}  // namespace tallowbeck
