#pragma once

#include <cstdint>

#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// Blocking wait for an unrelated process to end: a kernel queue on Darwin, a process
// descriptor on Linux.
class ProcessExit {
public:
    virtual ~ProcessExit() = default;

    // Returns once `pid` has exited, or at once, silently, when it cannot be watched
    // (already gone, no permission, no kernel support). Interrupted waits are resumed.
    virtual void waitForExit(std::int32_t pid) noexcept = 0;
    // A descriptor that becomes readable once `pid` has exited, for callers that wait for more
    // than one thing at a time (poll); closed when the process cannot be watched.
    virtual FileDescriptor exitDescriptor(std::int32_t pid) noexcept = 0;

    static ProcessExit& system();
};

}  // namespace tallowbeck
