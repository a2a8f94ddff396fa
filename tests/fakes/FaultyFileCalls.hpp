#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "tests/fakes/ForwardingFileCalls.hpp"

namespace tallowbeck::testing {

// The calls of FileCalls that a fault can be injected into.
enum class FileFunction {
    open,
    read,
    write,
    lseek,
    fsync,
    ftruncate,
    fchmod,
    flock,
    fstat,
    lstat,
    mkdir,
    rename,
    unlink
};

inline constexpr std::array everyFileFunction = {
    FileFunction::open,  FileFunction::read,      FileFunction::write,  FileFunction::lseek,
    FileFunction::fsync, FileFunction::ftruncate, FileFunction::fchmod, FileFunction::flock,
    FileFunction::fstat, FileFunction::lstat,     FileFunction::mkdir,  FileFunction::rename,
    FileFunction::unlink};

std::string_view nameOf(FileFunction function);

// The symbolic name of an error a fault injects ("EIO", "ENOSPC", "EINTR"), for test names on
// every system; the number for any other.
std::string errorName(int error);

// The system's file calls, except that one call fails while a fault is armed.
class FaultyFileCalls final : public ForwardingFileCalls {
public:
    // Makes call number `failingCall` (counting from 1 at arming) of `function` fail once with
    // `error`, without reaching the system. Replaces any fault armed before.
    void arm(FileFunction function, int failingCall, int error);
    void disarm() noexcept { fault_.reset(); }

    // Calls of the armed function since arming, the failed one included: fewer than
    // `failingCall` when the code under test never got that far.
    int calls() const;
    // The file the failed call was about: the path it named, or the file its descriptor refers
    // to. Empty until the call failed.
    std::filesystem::path failedTarget() const;

    int open(const char* path, int flags, mode_t mode) override;
    ssize_t read(int descriptor, void* bytes, std::size_t count) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override;
    off_t lseek(int descriptor, off_t offset, int whence) override;
    int fsync(int descriptor) override;
    int ftruncate(int descriptor, off_t length) override;
    int fchmod(int descriptor, mode_t mode) override;
    int flock(int descriptor, int operation) override;
    int fstat(int descriptor, FileAttributes& attributes) override;
    int lstat(const char* path, FileAttributes& attributes) override;
    int mkdir(const char* path, mode_t mode) override;
    int rename(const char* from, const char* to) override;
    int unlink(const char* path) override;

private:
    struct Fault {
        FileFunction function;
        int failingCall;
        int error;
        int calls = 0;
        std::filesystem::path failedTarget;
    };

    // Counts the call and tells whether it is the one to fail.
    bool failsNow(FileFunction function);
    int fail(std::filesystem::path target);
    int failOn(int descriptor);

    std::optional<Fault> fault_;
    // The path each descriptor was opened with. A closed descriptor's entry stays until its
    // number is opened again, which is all a failing call on it needs.
    std::unordered_map<int, std::filesystem::path> openedPaths_;
};

// Arms a fault for as long as it exists.
class ArmedFault {
public:
    ArmedFault(FaultyFileCalls& calls, FileFunction function, int failingCall, int error)
        : calls_(calls) {
        calls_.arm(function, failingCall, error);
    }
    ~ArmedFault() { calls_.disarm(); }
    ArmedFault(const ArmedFault&) = delete;
    ArmedFault& operator=(const ArmedFault&) = delete;

    int calls() const { return calls_.calls(); }
    std::filesystem::path failedTarget() const { return calls_.failedTarget(); }

private:
    FaultyFileCalls& calls_;
};

}  // namespace tallowbeck::testing
