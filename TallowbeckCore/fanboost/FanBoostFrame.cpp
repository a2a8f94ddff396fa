#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"

#include <cstdint>
#include <stdexcept>

namespace tallowbeck::FanBoostFrame {

std::string encode(std::string_view payload) {
    if (payload.size() > maximumPayloadSize) {
        throw std::length_error("a fan helper message may not exceed 64 KiB");
    }
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::string frame{static_cast<char>(length >> 24), static_cast<char>((length >> 16) & 0xFF),
                      static_cast<char>((length >> 8) & 0xFF), static_cast<char>(length & 0xFF)};
    frame += payload;
    return frame;
}

}  // namespace tallowbeck::FanBoostFrame
