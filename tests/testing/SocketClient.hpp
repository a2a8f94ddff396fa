#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck::testing {

// A client of the fan helper's socket that sends whatever bytes a test wants, well-formed or
// not, and reads the frames that come back.
class SocketClient {
public:
    static constexpr std::chrono::seconds patience{5};

    // Throws std::system_error when the connection is refused.
    explicit SocketClient(const std::filesystem::path& socket);

    // Blocks until all of it is sent; throws std::system_error.
    void send(std::string_view bytes);
    // Sends what fits without blocking; tells whether all of it did.
    bool trySend(std::string_view bytes);
    // The next frame's payload; nothing when the other side closed the connection first.
    // Throws std::runtime_error when neither happens within `limit`.
    std::optional<std::string> receiveFrame(std::chrono::milliseconds limit = patience);
    // One request in its frame, and the status that answers it.
    FanBoostStatus ask(std::string_view request);

    int descriptor() const noexcept { return socket_.get(); }
    void close() noexcept { socket_.close(); }

private:
    FileDescriptor socket_;
    FanBoostFrameReader frames_;
};

}  // namespace tallowbeck::testing
