#pragma once

#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck::testing {

// The system's file calls, for a test double to override only the calls it is about.
class ForwardingFileCalls : public FileCalls {
public:
    int open(const char* path, int flags, mode_t mode) override {
        return system().open(path, flags, mode);
    }
    ssize_t read(int descriptor, void* bytes, std::size_t count) override {
        return system().read(descriptor, bytes, count);
    }
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override {
        return system().write(descriptor, bytes, count);
    }
    off_t lseek(int descriptor, off_t offset, int whence) override {
        return system().lseek(descriptor, offset, whence);
    }
    int fsync(int descriptor) override { return system().fsync(descriptor); }
    int ftruncate(int descriptor, off_t length) override {
        return system().ftruncate(descriptor, length);
    }
    int fchmod(int descriptor, mode_t mode) override { return system().fchmod(descriptor, mode); }
    int flock(int descriptor, int operation) override {
        return system().flock(descriptor, operation);
    }
    int fstat(int descriptor, FileAttributes& attributes) override {
        return system().fstat(descriptor, attributes);
    }
    int lstat(const char* path, FileAttributes& attributes) override {
        return system().lstat(path, attributes);
    }
    int mkdir(const char* path, mode_t mode) override { return system().mkdir(path, mode); }
    int rename(const char* from, const char* to) override { return system().rename(from, to); }
    int unlink(const char* path) override { return system().unlink(path); }
};

}  // namespace tallowbeck::testing
