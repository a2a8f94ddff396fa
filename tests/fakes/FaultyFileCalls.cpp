#include "tests/fakes/FaultyFileCalls.hpp"

#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace tallowbeck::testing {

namespace {

struct Fault {
    FileFunction function;
    int failingCall;
    int error;
    int calls;
    std::filesystem::path failedTarget;
};

std::optional<Fault> armed;

// Counts the call and tells whether it is the one to fail.
bool failsNow(FileFunction function) {
    return armed && armed->function == function && ++armed->calls == armed->failingCall;
}

int fail(std::filesystem::path target) {
    armed->failedTarget = std::move(target);
    errno = armed->error;
    return -1;
}

std::filesystem::path fileOf(int descriptor) {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
}

const FileCalls& real() { return FileCalls::system(); }

int faultyOpen(const char* path, int flags, mode_t mode) {
    return failsNow(FileFunction::open) ? fail(path) : real().open(path, flags, mode);
}

int faultyFlock(int descriptor, int operation) {
    return failsNow(FileFunction::flock) ? fail(fileOf(descriptor))
                                         : real().flock(descriptor, operation);
}

ssize_t faultyWrite(int descriptor, const void* bytes, std::size_t count) {
    return failsNow(FileFunction::write) ? fail(fileOf(descriptor))
                                         : real().write(descriptor, bytes, count);
}

int faultyFsync(int descriptor) {
    return failsNow(FileFunction::fsync) ? fail(fileOf(descriptor)) : real().fsync(descriptor);
}

int faultyRename(const char* from, const char* to) {
    return failsNow(FileFunction::rename) ? fail(to) : real().rename(from, to);
}

int faultyFtruncate(int descriptor, off_t length) {
    return failsNow(FileFunction::ftruncate) ? fail(fileOf(descriptor))
                                             : real().ftruncate(descriptor, length);
}

}  // namespace

std::string_view nameOf(FileFunction function) {
    switch (function) {
        case FileFunction::open:
            return "open";
        case FileFunction::flock:
            return "flock";
        case FileFunction::write:
            return "write";
        case FileFunction::fsync:
            return "fsync";
        case FileFunction::rename:
            return "rename";
        case FileFunction::ftruncate:
            return "ftruncate";
    }
    throw std::invalid_argument("unknown file function");
}

const FileCalls& faultyFileCalls() {
    // The stamp is not among the faults: the store already reads a missing stamp as a missing
    // file.
    static const FileCalls calls{.open = faultyOpen,
                                 .flock = faultyFlock,
                                 .write = faultyWrite,
                                 .fsync = faultyFsync,
                                 .rename = faultyRename,
                                 .ftruncate = faultyFtruncate,
                                 .stamp = real().stamp};
    return calls;
}

ArmedFault::ArmedFault(FileFunction function, int failingCall, int error) {
    if (armed) {
        throw std::logic_error("a file fault is already armed");
    }
    armed.emplace(Fault{.function = function,
                        .failingCall = failingCall,
                        .error = error,
                        .calls = 0,
                        .failedTarget = {}});
}

ArmedFault::~ArmedFault() { armed.reset(); }

int ArmedFault::calls() const { return armed->calls; }

std::filesystem::path ArmedFault::failedTarget() const { return armed->failedTarget; }

}  // namespace tallowbeck::testing
