#include "fanhelper/linux/SocketFileCalls.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace tallowbeck::fanhelper {

int SocketFileCalls::bind(int socket, const UnixSocketAddress& address) {
    return ::bind(socket, address.get(), address.size());
}

int SocketFileCalls::openNode(const char* path) {
    return ::open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

int SocketFileCalls::fstat(int descriptor, struct stat& status) {
    return ::fstat(descriptor, &status);
}

int SocketFileCalls::changeGroup(int descriptor, gid_t group) {
    return ::fchownat(descriptor, "", static_cast<uid_t>(-1), group, AT_EMPTY_PATH);
}

SocketFileCalls& SocketFileCalls::system() {
    static SocketFileCalls calls;
    return calls;
}

}  // namespace tallowbeck::fanhelper
