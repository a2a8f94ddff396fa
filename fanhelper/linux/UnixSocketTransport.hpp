#pragma once

#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"
#include "TallowbeckCore/fanboost/FanBoostHostTransport.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "fanhelper/linux/SocketFileCalls.hpp"

namespace tallowbeck::fanhelper {

// The fan helper's transport on Linux: a Unix stream socket whose clients send length-prefixed
// JSON requests (FanBoostFrame, FanBoostRequest) and get one status frame back for each, in
// order. Everything runs on the host's one thread: the sockets never block and each connection
// has its own buffers, so a slow, silent or hostile client holds up nobody else. SIGINT and
// SIGTERM are taken over while the transport lives and reported as a shutdown.
//
// Who may connect: the socket file is the helper user's, born with mode 0600, or 0660 with an
// admitted group, to which it is then given without ever following a link at its name; on top of
// that every connection's peer credentials are checked the same way
// (PeerCredentials::mayUseHelper), and connections that fail are closed at once. Each user may
// hold a few connections at once, so that one who holds many locks out only themselves. A frame
// announcing more than 64 KiB gets a refusal and the connection is closed; a frame that is not
// a request, or names an unknown operation, gets a refusal and the connection stays.
class UnixSocketTransport final : public FanBoostHostTransport {
public:
    // A user's connections beyond these are closed as they come; a client needs one.
    static constexpr std::size_t maximumConnectionsPerUser = 8;
    // While this much waits to be sent to a client that does not read, nothing more is read
    // from it nor served.
    static constexpr std::size_t unsentLimit = 64 * 1024;

    // Listens at `path`, replacing a socket left there by a helper that died; fails when another
    // helper still listens there or when something else is in the way, also when the new socket
    // is swapped for something else before it is given to its group. All descriptors are closed
    // on exec. Throws std::system_error.
    UnixSocketTransport(std::filesystem::path path, std::optional<gid_t> admittedGroup,
                        SocketFileCalls& calls = SocketFileCalls::system());
    // Serves on `listening`, a Unix stream socket that listens already, such as one the service
    // manager made and hands over; its file is the manager's to make and remove. Throws
    // std::system_error.
    UnixSocketTransport(FileDescriptor listening, std::optional<gid_t> admittedGroup);
    // Closes every connection and removes the socket it made, unless another has taken its place.
    ~UnixSocketTransport() override;
    UnixSocketTransport(const UnixSocketTransport&) = delete;
    UnixSocketTransport& operator=(const UnixSocketTransport&) = delete;

    std::vector<Event> wait(std::optional<double> timeoutSeconds) override;

    std::size_t connectionCount() const noexcept { return connections_.size(); }

private:
    struct Connection {
        FileDescriptor socket;
        uid_t user;
        FanBoostFrameReader frames{};
        std::string unsent{};
        bool awaitingReply = false;  // a request is with the host: later ones wait their turn
        bool broken = false;         // to be closed and reported
    };

    // Takes SIGINT and SIGTERM over for the transport's life.
    void awaitStopSignals();
    void listen(std::optional<gid_t> admittedGroup);
    // Makes the socket's file with its final mode and gives it to `admittedGroup`.
    void bindSocketFile(const UnixSocketAddress& address, std::optional<gid_t> admittedGroup);
    // The user at the other end of `client` when they may connect, and may hold one more
    // connection.
    std::optional<uid_t> admittedUser(int client);
    void acceptClients(std::vector<Event>& events);
    void receive(ConnectionID id, Connection& connection, std::vector<Event>& events);
    // Hands the connection's next buffered request to the host, refusing what is not one.
    void takeRequest(ConnectionID id, Connection& connection, std::vector<Event>& events);
    void queue(Connection& connection, std::string_view payload);
    void flush(Connection& connection);
    void closeBroken(std::vector<Event>& events);
    FanBoostHelperProtocol::Reply replyTo(ConnectionID id);

    std::filesystem::path path_;
    SocketFileCalls& calls_;
    // The socket file this transport made; none for one handed over.
    std::optional<std::pair<dev_t, ino_t>> madeSocket_;
    uid_t helperUser_;
    std::optional<gid_t> admittedGroup_;
    sigset_t previousSignalMask_{};
    FileDescriptor signals_;
    FileDescriptor listener_;
    bool acceptingPaused_ = false;
    ConnectionID nextID_ = 1;
    std::unordered_map<ConnectionID, Connection> connections_;
    std::unordered_map<uid_t, std::size_t> connectionsPerUser_;
};

}  // namespace tallowbeck::fanhelper
