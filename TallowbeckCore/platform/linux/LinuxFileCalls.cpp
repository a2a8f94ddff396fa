#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "TallowbeckCore/platform/FileCalls.hpp"

namespace tallowbeck {

namespace {

// open is variadic in libc; the table needs a function of fixed arity.
int openFile(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

std::optional<FileStamp> stampOf(const char* path) {
    struct stat attributes {};
    if (::stat(path, &attributes) != 0) {
        return std::nullopt;
    }
    return FileStamp{.size = static_cast<std::uint64_t>(attributes.st_size),
                     .inode = static_cast<std::uint64_t>(attributes.st_ino),
                     .modifiedAt = std::chrono::seconds(attributes.st_mtim.tv_sec) +
                                   std::chrono::nanoseconds(attributes.st_mtim.tv_nsec)};
}

}  // namespace

const FileCalls& FileCalls::system() noexcept {
    static constexpr FileCalls calls{.open = openFile,
                                     .flock = ::flock,
                                     .write = ::write,
                                     .fsync = ::fsync,
                                     .rename = ::rename,
                                     .ftruncate = ::ftruncate,
                                     .stamp = stampOf};
    return calls;
}

}  // namespace tallowbeck
