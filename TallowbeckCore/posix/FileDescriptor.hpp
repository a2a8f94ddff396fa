#pragma once

#include <unistd.h>

#include <utility>

namespace tallowbeck {

// An open file descriptor, closed when its owner goes. -1 owns nothing.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            descriptor_ = other.release();
        }
        return *this;
    }
    ~FileDescriptor() { close(); }

    int get() const noexcept { return descriptor_; }
    bool isOpen() const noexcept { return descriptor_ >= 0; }
    int release() noexcept { return std::exchange(descriptor_, -1); }

    // Errors are ignored: the descriptor is gone either way, and nothing this code writes
    // depends on close reporting success.
    void close() noexcept {
        if (isOpen()) {
            ::close(release());
        }
    }

private:
    int descriptor_;
};

}  // namespace tallowbeck
