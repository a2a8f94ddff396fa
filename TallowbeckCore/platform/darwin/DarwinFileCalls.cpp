#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/PosixFileCalls.hpp"

namespace tallowbeck {

namespace {

// fsync on macOS leaves the data in the drive's own cache; F_FULLFSYNC makes the drive write it
// out. File systems without that flush refuse it, and there fsync is the most there is. An I/O
// error is reported as it is: an fsync after it could find nothing left to write and succeed.
int flushToDevice(int descriptor) {
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return 0;
    }
    return errno == EIO ? -1 : ::fsync(descriptor);
}

}  // namespace

FileCalls& FileCalls::system() noexcept {
    static PosixFileCalls<flushToDevice, &stat::st_mtimespec> calls;
    return calls;
}

}  // namespace tallowbeck
