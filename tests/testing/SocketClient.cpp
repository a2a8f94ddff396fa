#include "tests/testing/SocketClient.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"

namespace tallowbeck::testing {

SocketClient::SocketClient(const std::filesystem::path& socket)
    : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const UnixSocketAddress address(socket);
    if (!socket_.isOpen() || ::connect(socket_.get(), address.get(), address.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "connect " + socket.string());
    }
}

void SocketClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "send");
        }
        bytes.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

bool SocketClient::trySend(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent =
            ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::optional<std::string> SocketClient::receiveFrame(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::array<char, 4096> buffer{};
    for (;;) {
        if (std::optional<std::string> frame = frames_.next()) {
            return frame;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{socket_.get(), POLLIN, 0};
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) == 0) {
            throw std::runtime_error("no frame and no end of the connection in time");
        }
        const ssize_t received = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
        // A peer that closes with bytes of ours unread resets the connection instead of ending it.
        if (received == 0 || (received < 0 && errno == ECONNRESET)) {
            return std::nullopt;
        }
        if (received < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "recv");
        }
        if (received > 0) {
            frames_.append(std::string_view(buffer.data(), static_cast<std::size_t>(received)));
        }
    }
}

FanBoostStatus SocketClient::ask(std::string_view request) {
    send(FanBoostFrame::encode(request));
    const std::optional<std::string> reply = receiveFrame();
    if (!reply) {
        throw std::runtime_error("the helper closed the connection instead of answering");
    }
    return FanBoostStatus::fromJSON(*reply);
}

}  // namespace tallowbeck::testing
