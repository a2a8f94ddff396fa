#pragma once

#include <cstdint>

#include "TallowbeckCore/platform/ProcessExit.hpp"

namespace tallowbeck::ProcessExitWatcher {

// Blocks until `pid` has exited. Returns early, silently, when the process cannot be watched, so
// the caller must check for itself whether the process is really gone. Process ids below 2 (the
// init process, "any process" and process groups) are never watched.
void waitForExit(std::int32_t pid, ProcessExit& platform = ProcessExit::system()) noexcept;

// A descriptor that becomes readable once `pid` has exited, to be waited on beside others;
// closed when the process cannot be watched, and for the same ids below 2.
FileDescriptor exitDescriptor(std::int32_t pid,
                              ProcessExit& platform = ProcessExit::system()) noexcept;

}  // namespace tallowbeck::ProcessExitWatcher
