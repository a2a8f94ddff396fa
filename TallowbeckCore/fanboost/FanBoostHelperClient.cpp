#include "TallowbeckCore/fanboost/FanBoostHelperClient.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"

namespace tallowbeck {
namespace {

// Writing to a helper that has gone fails with EPIPE instead of ending the process.
#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
void keepBrokenPipesQuiet(int) noexcept {}
#else
constexpr int sendFlags = 0;
void keepBrokenPipesQuiet(int socket) noexcept {
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
}
#endif

uid_t listeningUser(int socket) {
#ifdef SO_PEERCRED
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        SystemCall::throwLastError("cannot learn who answers for the fan helper");
    }
    return credentials.uid;
#else
    uid_t user = 0;
    gid_t group = 0;
    if (::getpeereid(socket, &user, &group) != 0) {
        SystemCall::throwLastError("cannot learn who answers for the fan helper");
    }
    return user;
#endif
}

// Only the superuser, or whoever owns the socket file, answers for the helper: a reply is shown
// to the user and believed, so a stranger listening at the path must not be heard.
void requireTrustedListener(int socket, const std::filesystem::path& path) {
    const uid_t listener = listeningUser(socket);
    struct stat file {};
    if (listener == 0 || (::stat(path.c_str(), &file) == 0 && file.st_uid == listener)) {
        return;
    }
    throw std::runtime_error("the process listening at " + path.string() +
                             " is neither the superuser nor the socket's owner, so it is not "
                             "taken for the fan helper");
}

FileDescriptor connectedSocket(const std::filesystem::path& path) {
    const UnixSocketAddress address(path);
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) {
        SystemCall::throwLastError("socket");
    }
    keepBrokenPipesQuiet(socket.get());
    if (SystemCall::retryingInterrupted(
            [&] { return ::connect(socket.get(), address.get(), address.size()); }) != 0) {
        SystemCall::throwLastError(path.string());
    }
    requireTrustedListener(socket.get(), path);
    return socket;
}

}  // namespace

FanBoostHelperClient::FanBoostHelperClient(const std::filesystem::path& socket)
    : socket_(connectedSocket(socket)) {}

FanBoostStatus FanBoostHelperClient::begin(const FanBoostConfiguration& configuration) {
    return exchange(FanBoostRequest::begin(configuration));
}

FanBoostStatus FanBoostHelperClient::heartbeat() { return exchange(FanBoostRequest::heartbeat()); }

FanBoostStatus FanBoostHelperClient::stop() { return exchange(FanBoostRequest::stop()); }

FanBoostStatus FanBoostHelperClient::exchange(std::string_view request) {
    send(FanBoostFrame::encode(request));
    const std::string reply = awaitReply();
    try {
        return FanBoostStatus::fromJSON(reply);
    } catch (const DecodingError& error) {
        throw std::runtime_error(std::string("the fan helper's reply is not a status: ") +
                                 error.what());
    }
}

void FanBoostHelperClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = SystemCall::retryingInterrupted(
            [&] { return ::send(socket_.get(), bytes.data(), bytes.size(), sendFlags); });
        if (sent < 0) {
            SystemCall::throwLastError("cannot send to the fan helper");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string FanBoostHelperClient::awaitReply() {
    const auto deadline = std::chrono::steady_clock::now() + replyTimeout;
    std::array<char, 4096> buffer{};
    for (;;) {
        if (std::optional<std::string> reply = replies_.next()) {
            return *std::move(reply);
        }
        if (replies_.isOversized()) {
            throw std::runtime_error("the fan helper's reply is too long");
        }
        const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{socket_.get(), POLLIN, 0};
        const int ready = SystemCall::retryingInterrupted([&] {
            return ::poll(&readable, 1,
                          static_cast<int>(std::max<std::int64_t>(remaining.count(), 0)));
        });
        if (ready < 0) {
            SystemCall::throwLastError("cannot wait for the fan helper");
        }
        if (ready == 0) {
            throw std::runtime_error("the fan helper did not answer");
        }
        const ssize_t received = SystemCall::retryingInterrupted(
            [&] { return ::recv(socket_.get(), buffer.data(), buffer.size(), 0); });
        if (received < 0) {
            SystemCall::throwLastError("cannot receive from the fan helper");
        }
        if (received == 0) {
            throw std::runtime_error("the fan helper closed the connection");
        }
        replies_.append(std::string_view(buffer.data(), static_cast<std::size_t>(received)));
    }
}

}  // namespace tallowbeck
