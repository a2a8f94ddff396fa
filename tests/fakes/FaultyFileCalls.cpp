#include "tests/fakes/FaultyFileCalls.hpp"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <utility>

namespace tallowbeck::testing {

std::string_view nameOf(FileFunction function) {
    switch (function) {
        case FileFunction::open:
            return "open";
        case FileFunction::read:
            return "read";
        case FileFunction::write:
            return "write";
        case FileFunction::lseek:
            return "lseek";
        case FileFunction::fsync:
            return "fsync";
        case FileFunction::ftruncate:
            return "ftruncate";
        case FileFunction::fchmod:
            return "fchmod";
        case FileFunction::flock:
            return "flock";
        case FileFunction::fstat:
            return "fstat";
        case FileFunction::lstat:
            return "lstat";
        case FileFunction::mkdir:
            return "mkdir";
        case FileFunction::rename:
            return "rename";
        case FileFunction::unlink:
            return "unlink";
    }
    throw std::invalid_argument("unknown file function");
}

std::string errorName(int error) {
    switch (error) {
        case EIO:
            return "EIO";
        case ENOSPC:
            return "ENOSPC";
        case EINTR:
            return "EINTR";
        default:
            return std::to_string(error);
    }
}

void FaultyFileCalls::arm(FileFunction function, int failingCall, int error) {
    fault_.emplace(Fault{.function = function,
                         .failingCall = failingCall,
                         .error = error,
                         .calls = 0,
                         .failedTarget = {}});
}

int FaultyFileCalls::calls() const { return fault_ ? fault_->calls : 0; }

std::filesystem::path FaultyFileCalls::failedTarget() const {
    return fault_ ? fault_->failedTarget : std::filesystem::path();
}

bool FaultyFileCalls::failsNow(FileFunction function) {
    return fault_ && fault_->function == function && ++fault_->calls == fault_->failingCall;
}

int FaultyFileCalls::fail(std::filesystem::path target) {
    fault_->failedTarget = std::move(target);
    errno = fault_->error;
    return -1;
}

int FaultyFileCalls::failOn(int descriptor) {
    const auto opened = openedPaths_.find(descriptor);
    return fail(opened != openedPaths_.end() ? opened->second : std::filesystem::path());
}

int FaultyFileCalls::open(const char* path, int flags, mode_t mode) {
    if (failsNow(FileFunction::open)) {
        return fail(path);
    }
    const int descriptor = ForwardingFileCalls::open(path, flags, mode);
    if (descriptor >= 0) {
        openedPaths_[descriptor] = path;
    }
    return descriptor;
}

ssize_t FaultyFileCalls::read(int descriptor, void* bytes, std::size_t count) {
    return failsNow(FileFunction::read) ? failOn(descriptor)
                                        : ForwardingFileCalls::read(descriptor, bytes, count);
}

ssize_t FaultyFileCalls::write(int descriptor, const void* bytes, std::size_t count) {
    return failsNow(FileFunction::write) ? failOn(descriptor)
                                         : ForwardingFileCalls::write(descriptor, bytes, count);
}

off_t FaultyFileCalls::lseek(int descriptor, off_t offset, int whence) {
    return failsNow(FileFunction::lseek) ? failOn(descriptor)
                                         : ForwardingFileCalls::lseek(descriptor, offset, whence);
}

int FaultyFileCalls::fsync(int descriptor) {
    return failsNow(FileFunction::fsync) ? failOn(descriptor)
                                         : ForwardingFileCalls::fsync(descriptor);
}

int FaultyFileCalls::ftruncate(int descriptor, off_t length) {
    return failsNow(FileFunction::ftruncate) ? failOn(descriptor)
                                             : ForwardingFileCalls::ftruncate(descriptor, length);
}

int FaultyFileCalls::fchmod(int descriptor, mode_t mode) {
    return failsNow(FileFunction::fchmod) ? failOn(descriptor)
                                          : ForwardingFileCalls::fchmod(descriptor, mode);
}

int FaultyFileCalls::flock(int descriptor, int operation) {
    return failsNow(FileFunction::flock) ? failOn(descriptor)
                                         : ForwardingFileCalls::flock(descriptor, operation);
}

int FaultyFileCalls::fstat(int descriptor, FileAttributes& attributes) {
    return failsNow(FileFunction::fstat) ? failOn(descriptor)
                                         : ForwardingFileCalls::fstat(descriptor, attributes);
}

int FaultyFileCalls::lstat(const char* path, FileAttributes& attributes) {
    return failsNow(FileFunction::lstat) ? fail(path)
                                         : ForwardingFileCalls::lstat(path, attributes);
}

int FaultyFileCalls::mkdir(const char* path, mode_t mode) {
    return failsNow(FileFunction::mkdir) ? fail(path) : ForwardingFileCalls::mkdir(path, mode);
}

int FaultyFileCalls::rename(const char* from, const char* to) {
    return failsNow(FileFunction::rename) ? fail(to) : ForwardingFileCalls::rename(from, to);
}

int FaultyFileCalls::unlink(const char* path) {
    return failsNow(FileFunction::unlink) ? fail(path) : ForwardingFileCalls::unlink(path);
}

}  // namespace tallowbeck::testing
