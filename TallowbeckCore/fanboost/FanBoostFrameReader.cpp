#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"

#include <cstdint>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"

namespace tallowbeck {
namespace {

std::size_t announcedLength(std::string_view header) noexcept {
    std::uint32_t length = 0;
    for (const char byte : header.substr(0, FanBoostFrame::headerSize)) {
        length = (length << 8) | static_cast<unsigned char>(byte);
    }
    return length;
}

}  // namespace

void FanBoostFrameReader::append(std::string_view bytes) {
    if (oversized_) {
        return;
    }
    buffer_.erase(0, start_);
    start_ = 0;
    buffer_ += bytes;
}

std::optional<std::string> FanBoostFrameReader::next() {
    const std::string_view unread = std::string_view(buffer_).substr(start_);
    if (oversized_ || unread.size() < FanBoostFrame::headerSize) {
        return std::nullopt;
    }
    const std::size_t length = announcedLength(unread);
    if (length > FanBoostFrame::maximumPayloadSize) {
        oversized_ = true;
        buffer_.clear();
        start_ = 0;
        return std::nullopt;
    }
    if (unread.size() - FanBoostFrame::headerSize < length) {
        return std::nullopt;
    }
    start_ += FanBoostFrame::headerSize + length;
    return std::string(unread.substr(FanBoostFrame::headerSize, length));
}

}  // namespace tallowbeck
