// Feeds arbitrary bytes, as a client of the fan helper's socket could send them, to the frame
// reader in pieces of arbitrary size, and every frame it gives to the request decoder and, for a
// begin request, to the configuration decoder. Decoding may only succeed or throw
// DecodingError; no frame may exceed the limit, and once it has given out every whole frame the
// reader holds less than one frame of the largest size.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"

namespace {

using tallowbeck::FanBoostRequest;

constexpr std::size_t largestPiece = 64;

void decodeRequest(std::string_view frame) {
    try {
        if (FanBoostRequest::operation(frame) == FanBoostRequest::Operation::begin) {
            static_cast<void>(tallowbeck::FanBoostConfiguration::fromJSON(frame));
        }
    } catch (const tallowbeck::DecodingError& error) {
        static_cast<void>(FanBoostRequest::problem(error));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.empty()) {
        return 0;
    }
    // The first byte chooses the size of the pieces the rest arrives in.
    const std::size_t piece = 1 + static_cast<unsigned char>(bytes.front()) % largestPiece;
    bytes.remove_prefix(1);
    tallowbeck::FanBoostFrameReader reader;
    while (!bytes.empty()) {
        reader.append(bytes.substr(0, piece));
        bytes.remove_prefix(std::min(piece, bytes.size()));
        while (const std::optional<std::string> frame = reader.next()) {
            if (frame->size() > tallowbeck::FanBoostFrame::maximumPayloadSize) {
                std::abort();
            }
            decodeRequest(*frame);
        }
        if (reader.bufferedSize() >=
            tallowbeck::FanBoostFrame::headerSize + tallowbeck::FanBoostFrame::maximumPayloadSize) {
            std::abort();
        }
    }
    return 0;
}
