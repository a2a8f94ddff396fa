#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "TallowbeckCore/posix/FileStamp.hpp"

namespace tallowbeck {

// What stat tells about one file, in the same form on every system.
struct FileAttributes {
    enum class Kind { regular, directory, symbolicLink, other };

    Kind kind = Kind::other;
    uid_t owner = 0;
    mode_t permissions = 0;  // the nine permission bits and setuid, setgid, sticky
    std::uint64_t size = 0;
    std::uint64_t inode = 0;
    // Since 1970-01-01 UTC, to the nanosecond where the file system keeps it.
    std::chrono::nanoseconds modifiedAt{};

    FileStamp stamp() const noexcept {
        return FileStamp{.size = size, .inode = inode, .modifiedAt = modifiedAt};
    }
};

// Every call through which the library reaches files, so that a test can make any one of them
// fail. Each behaves like its POSIX namesake: -1 with errno set on failure. Descriptors are the
// system's own; closing one goes straight to the system, since a failed close still frees it.
class FileCalls {
public:
    virtual ~FileCalls() = default;

    virtual int open(const char* path, int flags, mode_t mode) = 0;
    virtual ssize_t read(int descriptor, void* bytes, std::size_t count) = 0;
    virtual ssize_t write(int descriptor, const void* bytes, std::size_t count) = 0;
    virtual off_t lseek(int descriptor, off_t offset, int whence) = 0;
    // Flushes the file's data all the way to the storage device, not just to the drive's cache
    // where the system can tell the two apart.
    virtual int fsync(int descriptor) = 0;
    virtual int ftruncate(int descriptor, off_t length) = 0;
    virtual int fchmod(int descriptor, mode_t mode) = 0;
    virtual int flock(int descriptor, int operation) = 0;
    virtual int fstat(int descriptor, FileAttributes& attributes) = 0;
    // The attributes of the path itself, a symbolic link's own rather than its target's.
    virtual int lstat(const char* path, FileAttributes& attributes) = 0;
    virtual int mkdir(const char* path, mode_t mode) = 0;
    virtual int rename(const char* from, const char* to) = 0;
    virtual int unlink(const char* path) = 0;

    // The stamp of the path itself; nothing when its attributes cannot be read (it does not
    // exist).
    std::optional<FileStamp> stamp(const char* path) {
        FileAttributes attributes;
        return lstat(path, attributes) == 0 ? std::optional(attributes.stamp()) : std::nullopt;
    }

    static FileCalls& system() noexcept;
};

}  // namespace tallowbeck
