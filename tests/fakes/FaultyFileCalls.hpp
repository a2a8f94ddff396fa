#pragma once

#include <filesystem>
#include <string_view>

#include "TallowbeckCore/platform/FileCalls.hpp"

namespace tallowbeck::testing {

// The calls of FileCalls that a fault can be injected into.
enum class FileFunction { open, flock, write, fsync, rename, ftruncate };

std::string_view nameOf(FileFunction function);

// FileCalls::system(), except that one call fails while an ArmedFault exists. The table holds
// plain functions, so the fault lives in global state: one fault is armed at a time, and only
// single-threaded tests use it.
const FileCalls& faultyFileCalls();

// Makes call number `failingCall` (counting from 1 at construction) of `function` through
// faultyFileCalls() fail once with `error`, without reaching the system; disarms when it goes.
// Throws std::logic_error when another fault is armed.
class ArmedFault {
public:
    ArmedFault(FileFunction function, int failingCall, int error);
    ~ArmedFault();
    ArmedFault(const ArmedFault&) = delete;
    ArmedFault& operator=(const ArmedFault&) = delete;

    // Calls of the function since arming, the failed one included: fewer than `failingCall` when
    // the code under test never got that far.
    int calls() const;
    // The file the failed call was about: the path it opened or renamed over, or the file its
    // descriptor refers to. Empty until the call failed.
    std::filesystem::path failedTarget() const;
};

}  // namespace tallowbeck::testing
