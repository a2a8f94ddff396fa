#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace tallowbeck::fanhelper {

// Who is at the other end of a connected Unix socket, as the kernel recorded it when the peer
// connected.
struct PeerCredentials {
    pid_t process = 0;
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> supplementaryGroups;

    // Throws std::system_error.
    static PeerCredentials of(int socket);

    // The superuser, the helper's own user and, when the helper admits a group, its members.
    bool mayUseHelper(uid_t helperUser, std::optional<gid_t> admittedGroup) const noexcept;
};

}  // namespace tallowbeck::fanhelper
