#include "fanhelper/linux/UnixSocketTransport.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <system_error>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/ForwardingFanBoostHelper.hpp"
#include "TallowbeckCore/posix/StopSignals.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"
#include "fanhelper/linux/PeerCredentials.hpp"

namespace tallowbeck::fanhelper {
namespace {

constexpr mode_t ownerOnly = 0600;
constexpr mode_t ownerAndGroup = 0660;
// Enough for every request a client may have sent at once, without starving the others.
constexpr std::size_t receiveChunk = 16 * 1024;
constexpr int acceptsPerWait = 64;
constexpr std::size_t readAheadLimit =
    FanBoostFrame::headerSize + FanBoostFrame::maximumPayloadSize;

// A socket left by a helper that died is removed; a live helper's, or anything that is not a
// socket, is left alone and reported.
void removeStaleSocket(const std::filesystem::path& path, const UnixSocketAddress& address) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return;
        }
        SystemCall::throwLastError(path.string());
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::system_error(EEXIST, std::generic_category(),
                                path.string() + " is in the way and is not a socket");
    }
    const FileDescriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (probe.isOpen() && ::connect(probe.get(), address.get(), address.size()) == 0) {
        throw std::system_error(EADDRINUSE, std::generic_category(),
                                "another fan helper listens at " + path.string());
    }
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        SystemCall::throwLastError(path.string());
    }
}

int pollTimeout(std::optional<double> seconds) noexcept {
    if (!seconds) {
        return -1;
    }
    const double milliseconds = std::ceil(std::max(*seconds, 0.0) * 1000.0);
    return milliseconds >= INT_MAX ? INT_MAX : static_cast<int>(milliseconds);
}

bool wouldBlock(int error) noexcept { return error == EAGAIN || error == EWOULDBLOCK; }

}  // namespace

UnixSocketTransport::UnixSocketTransport(std::filesystem::path path,
                                         std::optional<gid_t> admittedGroup, SocketFileCalls& calls)
    : path_(std::move(path)),
      calls_(calls),
      helperUser_(::geteuid()),
      admittedGroup_(admittedGroup) {
    awaitStopSignals();
    try {
        listen(admittedGroup);
    } catch (...) {
        ::pthread_sigmask(SIG_SETMASK, &previousSignalMask_, nullptr);
        throw;
    }
}

UnixSocketTransport::UnixSocketTransport(FileDescriptor listening,
                                         std::optional<gid_t> admittedGroup)
    : calls_(SocketFileCalls::system()),
      helperUser_(::geteuid()),
      admittedGroup_(admittedGroup),
      listener_(std::move(listening)) {
    // Accepting relies on a listener that never blocks, whoever made it.
    const int flags = ::fcntl(listener_.get(), F_GETFL);
    if (flags < 0 || ::fcntl(listener_.get(), F_SETFL, flags | O_NONBLOCK) != 0 ||
        ::fcntl(listener_.get(), F_SETFD, FD_CLOEXEC) != 0) {
        SystemCall::throwLastError("cannot take over the listening socket");
    }
    awaitStopSignals();
}

UnixSocketTransport::~UnixSocketTransport() {
    connections_.clear();
    listener_.close();
    struct stat status {};
    if (madeSocket_ && ::lstat(path_.c_str(), &status) == 0 &&
        std::pair(status.st_dev, status.st_ino) == *madeSocket_) {
        ::unlink(path_.c_str());
    }
    signals_.close();
    ::pthread_sigmask(SIG_SETMASK, &previousSignalMask_, nullptr);
}

void UnixSocketTransport::awaitStopSignals() {
    const sigset_t signals = stopSignals();
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &signals, &previousSignalMask_);
        error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block SIGINT and SIGTERM");
    }
    signals_ = FileDescriptor(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!signals_.isOpen()) {
        const int error = errno;
        ::pthread_sigmask(SIG_SETMASK, &previousSignalMask_, nullptr);
        throw std::system_error(error, std::generic_category(), "signalfd");
    }
}

void UnixSocketTransport::listen(std::optional<gid_t> admittedGroup) {
    const UnixSocketAddress address(path_);
    listener_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!listener_.isOpen()) {
        SystemCall::throwLastError("socket");
    }
    removeStaleSocket(path_, address);
    bindSocketFile(address, admittedGroup);
    if (::listen(listener_.get(), SOMAXCONN) != 0) {
        SystemCall::throwLastError("cannot listen at " + path_.string());
    }
}

void UnixSocketTransport::bindSocketFile(const UnixSocketAddress& address,
                                         std::optional<gid_t> admittedGroup) {
    // Born with its final mode, so that no change of mode by name is ever needed.
    const mode_t mode = admittedGroup ? ownerAndGroup : ownerOnly;
    const mode_t previousMask = ::umask(static_cast<mode_t>(~mode & 0777));
    const int bound = calls_.bind(listener_.get(), address);
    ::umask(previousMask);
    if (bound != 0) {
        SystemCall::throwLastError("cannot listen at " + path_.string());
    }
    // Whatever now bears the name is examined and changed as itself, never through a link.
    const FileDescriptor node(calls_.openNode(path_.c_str()));
    struct stat status {};
    if (!node.isOpen() || calls_.fstat(node.get(), status) != 0) {
        SystemCall::throwLastError("cannot examine " + path_.string());
    }
    if (!S_ISSOCK(status.st_mode) || status.st_uid != helperUser_) {
        throw std::system_error(EPERM, std::generic_category(),
                                "refusing " + path_.string() +
                                    ": it was replaced by something else while the helper made it");
    }
    if (admittedGroup && calls_.changeGroup(node.get(), *admittedGroup) != 0) {
        SystemCall::throwLastError("cannot open " + path_.string() + " to its group");
    }
    madeSocket_ = std::pair(status.st_dev, status.st_ino);
}

std::vector<FanBoostHostTransport::Event> UnixSocketTransport::wait(
    std::optional<double> timeoutSeconds) {
    std::vector<Event> events;
    closeBroken(events);
    for (auto& [id, connection] : connections_) {
        takeRequest(id, connection, events);
    }
    // What is buffered already is served before waiting for more.
    if (!events.empty()) {
        timeoutSeconds = 0.0;
    }
    std::vector<pollfd> watched{{signals_.get(), POLLIN, 0},
                                {acceptingPaused_ ? -1 : listener_.get(), POLLIN, 0}};
    std::vector<ConnectionID> watchedIDs;
    for (const auto& [id, connection] : connections_) {
        // A client that does not read its replies, or whose next request already waits here,
        // is not read from until that changes.
        const bool reading = !connection.broken && connection.unsent.size() < unsentLimit &&
                             connection.frames.bufferedSize() < readAheadLimit;
        const auto wanted =
            static_cast<short>((reading ? POLLIN : 0) | (connection.unsent.empty() ? 0 : POLLOUT));
        watched.push_back({connection.socket.get(), wanted, 0});
        watchedIDs.push_back(id);
    }
    if (::poll(watched.data(), watched.size(), pollTimeout(timeoutSeconds)) < 0) {
        if (errno == EINTR) {
            return events;
        }
        SystemCall::throwLastError("poll");
    }
    if (watched[1].revents != 0) {
        acceptClients(events);
    }
    for (std::size_t index = 0; index < watchedIDs.size(); ++index) {
        const short ready = watched[index + 2].revents;
        const auto found = connections_.find(watchedIDs[index]);
        if (ready == 0 || found == connections_.end()) {
            continue;
        }
        if ((ready & POLLOUT) != 0) {
            flush(found->second);
        }
        if ((ready & (POLLIN | POLLHUP | POLLERR)) != 0) {
            receive(found->first, found->second, events);
        }
    }
    closeBroken(events);
    if (watched[0].revents != 0) {
        signalfd_siginfo received{};
        while (::read(signals_.get(), &received, sizeof received) > 0) {
        }
        events.push_back({.kind = Event::Kind::shutdown});
    }
    return events;
}

void UnixSocketTransport::acceptClients(std::vector<Event>& events) {
    for (int accepted = 0; accepted < acceptsPerWait; ++accepted) {
        FileDescriptor client(
            ::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!client.isOpen()) {
            if (errno == EINTR || errno == ECONNABORTED) {
                continue;
            }
            // Out of descriptors: taken up again when a connection closes.
            acceptingPaused_ = errno == EMFILE || errno == ENFILE;
            return;
        }
        const std::optional<uid_t> user = admittedUser(client.get());
        if (!user) {
            continue;
        }
        ++connectionsPerUser_[*user];
        const ConnectionID id = nextID_++;
        connections_.emplace(id, Connection{.socket = std::move(client), .user = *user});
        events.push_back({.kind = Event::Kind::connected, .connection = id});
    }
}

std::optional<uid_t> UnixSocketTransport::admittedUser(int client) {
    std::optional<PeerCredentials> peer;
    try {
        peer = PeerCredentials::of(client);
    } catch (const std::system_error&) {
        return std::nullopt;
    }
    const auto held = connectionsPerUser_.find(peer->user);
    if (!peer->mayUseHelper(helperUser_, admittedGroup_) ||
        (held != connectionsPerUser_.end() && held->second >= maximumConnectionsPerUser)) {
        return std::nullopt;
    }
    return peer->user;
}

void UnixSocketTransport::receive(ConnectionID id, Connection& connection,
                                  std::vector<Event>& events) {
    std::array<char, receiveChunk> buffer{};
    const ssize_t received = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
    if (received < 0 && (errno == EINTR || wouldBlock(errno))) {
        return;
    }
    if (received <= 0) {
        connection.broken = true;
        return;
    }
    connection.frames.append(std::string_view(buffer.data(), static_cast<std::size_t>(received)));
    takeRequest(id, connection, events);
}

void UnixSocketTransport::takeRequest(ConnectionID id, Connection& connection,
                                      std::vector<Event>& events) {
    // A client that does not read its replies gets no more of them for now.
    while (!connection.awaitingReply && !connection.broken &&
           connection.unsent.size() < unsentLimit) {
        std::optional<std::string> frame = connection.frames.next();
        if (connection.frames.isOversized()) {
            queue(connection, ForwardingFanBoostHelper::refusal(FanBoostRequest::oversizedMessage));
            connection.broken = true;
            return;
        }
        if (!frame) {
            return;
        }
        try {
            const FanBoostRequest::Operation operation = FanBoostRequest::operation(*frame);
            connection.awaitingReply = true;
            events.push_back({.kind = Event::Kind::request,
                              .connection = id,
                              .operation = operation,
                              .request = *std::move(frame),
                              .reply = replyTo(id)});
        } catch (const DecodingError& error) {
            queue(connection, ForwardingFanBoostHelper::refusal(FanBoostRequest::problem(error)));
        }
    }
}

FanBoostHelperProtocol::Reply UnixSocketTransport::replyTo(ConnectionID id) {
    return [this, id](std::string_view status) {
        const auto found = connections_.find(id);
        if (found != connections_.end()) {
            found->second.awaitingReply = false;
            queue(found->second, status);
        }
    };
}

void UnixSocketTransport::queue(Connection& connection, std::string_view payload) {
    connection.unsent += FanBoostFrame::encode(payload);
    flush(connection);
}

void UnixSocketTransport::flush(Connection& connection) {
    while (!connection.unsent.empty() && !connection.broken) {
        const ssize_t sent = ::send(connection.socket.get(), connection.unsent.data(),
                                    connection.unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            if (errno != EINTR && !wouldBlock(errno)) {
                connection.broken = true;
            }
            if (errno != EINTR) {
                return;
            }
            continue;
        }
        connection.unsent.erase(0, static_cast<std::size_t>(sent));
    }
}

void UnixSocketTransport::closeBroken(std::vector<Event>& events) {
    for (auto connection = connections_.begin(); connection != connections_.end();) {
        if (!connection->second.broken) {
            ++connection;
            continue;
        }
        events.push_back({.kind = Event::Kind::disconnected, .connection = connection->first});
        if (--connectionsPerUser_[connection->second.user] == 0) {
            connectionsPerUser_.erase(connection->second.user);
        }
        connection = connections_.erase(connection);
        acceptingPaused_ = false;
    }
}

}  // namespace tallowbeck::fanhelper
