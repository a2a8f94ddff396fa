#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck {

// Cuts the bytes of one stream into the payloads of its frames (see FanBoostFrame), whatever
// pieces they arrive in. It holds at most one unfinished frame besides the last bytes appended.
// A header that announces more than the limit ends the stream: the reader then takes and gives
// nothing more, since no later frame boundary can be trusted.
class FanBoostFrameReader {
public:
    void append(std::string_view bytes);
    // The next whole payload, in order; nothing until one has arrived.
    std::optional<std::string> next();

    bool isOversized() const noexcept { return oversized_; }
    // Bytes received and not yet given out.
    std::size_t bufferedSize() const noexcept { return buffer_.size() - start_; }

private:
    std::string buffer_;
    std::size_t start_ = 0;  // where the bytes not yet given out begin
    bool oversized_ = false;
};

}  // namespace tallowbeck
