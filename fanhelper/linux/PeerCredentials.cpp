#include "fanhelper/linux/PeerCredentials.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck::fanhelper {
namespace {

std::vector<gid_t> peerGroups(int socket) {
    std::vector<gid_t> groups(16);
    for (;;) {
        auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
            groups.resize(size / sizeof(gid_t));
            return groups;
        }
        // Too small a list: the kernel has said how many there are.
        if (errno != ERANGE) {
            SystemCall::throwLastError("cannot read the client's groups");
        }
        groups.resize(std::max(size / sizeof(gid_t), groups.size() * 2));
    }
}

}  // namespace

PeerCredentials PeerCredentials::of(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        SystemCall::throwLastError("cannot read the client's credentials");
    }
    return {.process = credentials.pid,
            .user = credentials.uid,
            .group = credentials.gid,
            .supplementaryGroups = peerGroups(socket)};
}

bool PeerCredentials::mayUseHelper(uid_t helperUser,
                                   std::optional<gid_t> admittedGroup) const noexcept {
    if (user == 0 || user == helperUser) {
        return true;
    }
    return admittedGroup &&
           (group == *admittedGroup ||
            std::ranges::find(supplementaryGroups, *admittedGroup) != supplementaryGroups.end());
}

}  // namespace tallowbeck::fanhelper
