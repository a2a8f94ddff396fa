#pragma once

#include <chrono>
#include <filesystem>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// A client's connection to the fan helper's Unix socket, where the helper serves on Linux: one
// request at a time, each answered by the session's status. The connection is the client's
// identity: a boost begun on it belongs to it, and ends when it closes.
class FanBoostHelperClient {
public:
    // Where the helper listens unless told otherwise.
    static constexpr std::string_view defaultSocketPath =
        "/run/com.tallowbeck.Quillmoss.FanHelper.socket";
    // A helper that takes longer to answer is taken to be gone.
    static constexpr std::chrono::seconds replyTimeout{10};

    // Throws std::system_error with the connect's error when the helper cannot be reached, and
    // std::runtime_error when the listener is neither the superuser nor the socket's owner.
    explicit FanBoostHelperClient(const std::filesystem::path& socket);

    // Each throws std::runtime_error when the helper closes the connection, does not answer in
    // time or answers with something other than a status, and std::system_error when the
    // connection fails.
    FanBoostStatus begin(const FanBoostConfiguration& configuration);
    FanBoostStatus heartbeat();
    FanBoostStatus stop();

private:
    FanBoostStatus exchange(std::string_view request);
    void send(std::string_view bytes);
    std::string awaitReply();

    FileDescriptor socket_;
    FanBoostFrameReader replies_;
};

}  // namespace tallowbeck
