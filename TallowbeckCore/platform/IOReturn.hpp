#pragma once

#include <cstdint>

namespace tallowbeck::IOReturn {

// IOKit status codes, kept as the signed 32-bit values the kernel hands out.
inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t notFound = static_cast<std::int32_t>(0xE00002F0u);
inline constexpr std::int32_t unsupported = static_cast<std::int32_t>(0xE00002C7u);

}  // namespace tallowbeck::IOReturn
