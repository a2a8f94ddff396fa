#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "TallowbeckCore/posix/UnixSocketAddress.hpp"

namespace tallowbeck::fanhelper {

// The calls through which the helper makes its socket file and hands it to the admitted group.
// The file's name lies in a folder that others may be able to write to, where its name can be
// swapped for a link between any two of these calls; a test steps in between them to do just
// that. Each behaves like its namesake: -1 with errno set on failure.
class SocketFileCalls {
public:
    virtual ~SocketFileCalls() = default;

    virtual int bind(int socket, const UnixSocketAddress& address);
    // The file at `path` itself, never a link's target, for fstat and changeGroup only.
    virtual int openNode(const char* path);
    virtual int fstat(int descriptor, struct stat& status);
    // Gives the file open at `descriptor` to `group`.
    virtual int changeGroup(int descriptor, gid_t group);

    static SocketFileCalls& system();
};

}  // namespace tallowbeck::fanhelper
