#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The framing of the fan helper's socket protocol: every message is its length in four bytes,
// most significant first, followed by that many bytes of JSON.
namespace tallowbeck::FanBoostFrame {

inline constexpr std::size_t headerSize = 4;
// A longer message is refused unread.
inline constexpr std::size_t maximumPayloadSize = 64 * 1024;

// `payload` behind its length. Throws std::length_error when it is longer than the limit.
std::string encode(std::string_view payload);

}  // namespace tallowbeck::FanBoostFrame
