#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck {

// The POSIX calls of FileCalls. The systems differ only in how a file is flushed to the device
// (`flush`) and in the name of stat's field with the modification time (`modificationTime`).
template <int (*flush)(int), timespec stat::*modificationTime>
class PosixFileCalls final : public FileCalls {
public:
    int open(const char* path, int flags, mode_t mode) override {
        return ::open(path, flags, mode);
    }
    ssize_t read(int descriptor, void* bytes, std::size_t count) override {
        return ::read(descriptor, bytes, count);
    }
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override {
        return ::write(descriptor, bytes, count);
    }
    off_t lseek(int descriptor, off_t offset, int whence) override {
        return ::lseek(descriptor, offset, whence);
    }
    int fsync(int descriptor) override { return flush(descriptor); }
    int ftruncate(int descriptor, off_t length) override { return ::ftruncate(descriptor, length); }
    int fchmod(int descriptor, mode_t mode) override { return ::fchmod(descriptor, mode); }
    int flock(int descriptor, int operation) override { return ::flock(descriptor, operation); }
    int fstat(int descriptor, FileAttributes& attributes) override {
        struct stat status {};
        return converted(::fstat(descriptor, &status), status, attributes);
    }
    int lstat(const char* path, FileAttributes& attributes) override {
        struct stat status {};
        return converted(::lstat(path, &status), status, attributes);
    }
    int mkdir(const char* path, mode_t mode) override { return ::mkdir(path, mode); }
    int rename(const char* from, const char* to) override { return ::rename(from, to); }
    int unlink(const char* path) override { return ::unlink(path); }

private:
    static FileAttributes::Kind kindOf(mode_t mode) noexcept {
        if (S_ISREG(mode)) {
            return FileAttributes::Kind::regular;
        }
        if (S_ISDIR(mode)) {
            return FileAttributes::Kind::directory;
        }
        return S_ISLNK(mode) ? FileAttributes::Kind::symbolicLink : FileAttributes::Kind::other;
    }

    static int converted(int result, const struct stat& status, FileAttributes& attributes) {
        if (result == 0) {
            const timespec& modifiedAt = status.*modificationTime;
            attributes = FileAttributes{.kind = kindOf(status.st_mode),
                                        .owner = status.st_uid,
                                        .permissions = static_cast<mode_t>(status.st_mode & 07777),
                                        .size = static_cast<std::uint64_t>(status.st_size),
                                        .inode = static_cast<std::uint64_t>(status.st_ino),
                                        .modifiedAt = std::chrono::seconds(modifiedAt.tv_sec) +
                                                      std::chrono::nanoseconds(modifiedAt.tv_nsec)};
        }
        return result;
    }
};

}  // namespace tallowbeck
