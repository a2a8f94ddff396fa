#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>

#include "TallowbeckCore/history/FileStamp.hpp"

namespace tallowbeck {

// The file-system calls through which the temperature history reaches its files, as a table of
// plain functions so that tests can make any one of them fail. Every call behaves like its POSIX
// namesake: -1 with errno set on failure.
struct FileCalls {
    int (*open)(const char* path, int flags, mode_t mode);
    int (*flock)(int descriptor, int operation);
    ssize_t (*write)(int descriptor, const void* bytes, std::size_t count);
    // Flushes the file's data all the way to the storage device, not just to the drive's cache
    // where the system can tell the two apart.
    int (*fsync)(int descriptor);
    int (*rename)(const char* from, const char* to);
    int (*ftruncate)(int descriptor, off_t length);
    // The file's stamp; nothing when its attributes cannot be read (it does not exist).
    std::optional<FileStamp> (*stamp)(const char* path);

    static const FileCalls& system() noexcept;
};

}  // namespace tallowbeck
