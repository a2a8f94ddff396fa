#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>

#include "TallowbeckCore/platform/FileCalls.hpp"
#include "TallowbeckCore/platform/PosixFileStamp.hpp"

namespace tallowbeck {

namespace {

// open is variadic in libc; the table needs a function of fixed arity.
int openFile(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

}  // namespace

const FileCalls& FileCalls::system() noexcept {
    static constexpr FileCalls calls{.open = openFile,
                                     .flock = ::flock,
                                     .write = ::write,
                                     .fsync = ::fsync,
                                     .rename = ::rename,
                                     .ftruncate = ::ftruncate,
                                     .stamp = posixFileStamp<&stat::st_mtim>};
    return calls;
}

}  // namespace tallowbeck
