#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "TallowbeckCore/platform/FileCalls.hpp"
#include "TallowbeckCore/platform/PosixFileStamp.hpp"

namespace tallowbeck {

namespace {

// open is variadic in libc; the table needs a function of fixed arity.
int openFile(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

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

const FileCalls& FileCalls::system() noexcept {
    static constexpr FileCalls calls{.open = openFile,
                                     .flock = ::flock,
                                     .write = ::write,
                                     .fsync = flushToDevice,
                                     .rename = ::rename,
                                     .ftruncate = ::ftruncate,
                                     .stamp = posixFileStamp<&stat::st_mtimespec>};
    return calls;
}

}  // namespace tallowbeck
