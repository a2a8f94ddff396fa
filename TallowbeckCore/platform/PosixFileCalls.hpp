#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "TallowbeckCore/history/FileStamp.hpp"
#include "TallowbeckCore/platform/FileCalls.hpp"

namespace tallowbeck {

// The POSIX calls of FileCalls. The systems differ only in how a file is flushed to the device
// (`flush`) and in the name of stat's field with the modification time (`modificationTime`).
template <int (*flush)(int), timespec stat::*modificationTime>
class PosixFileCalls {
public:
    static const FileCalls& table() noexcept {
        static constexpr FileCalls calls{.open = open,
                                         .flock = ::flock,
                                         .write = ::write,
                                         .fsync = flush,
                                         .rename = ::rename,
                                         .ftruncate = ::ftruncate,
                                         .stamp = stamp};
        return calls;
    }

private:
    // open is variadic in libc; the table needs a function of fixed arity.
    static int open(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

    static std::optional<FileStamp> stamp(const char* path) {
        struct stat attributes {};
        if (::stat(path, &attributes) != 0) {
            return std::nullopt;
        }
        const timespec& modifiedAt = attributes.*modificationTime;
        return FileStamp{.size = static_cast<std::uint64_t>(attributes.st_size),
                         .inode = static_cast<std::uint64_t>(attributes.st_ino),
                         .modifiedAt = std::chrono::seconds(modifiedAt.tv_sec) +
                                       std::chrono::nanoseconds(modifiedAt.tv_nsec)};
    }
};

}  // namespace tallowbeck
