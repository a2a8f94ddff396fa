#pragma once

#include "TallowbeckCore/platform/SystemValues.hpp"

namespace tallowbeck {

// System values from sysctlbyname.
class DarwinSystemValues final : public SystemValues {
public:
    std::optional<std::size_t> valueLength(const char* name) noexcept override;
    std::optional<std::size_t> readValue(const char* name,
                                         std::span<char> buffer) noexcept override;
};

}  // namespace tallowbeck
