#pragma once

#include <cstdint>

namespace tallowbeck {

// Blocking wait for an unrelated process to end: a kernel queue on Darwin, a process
// descriptor on Linux.
class ProcessExit {
public:
    virtual ~ProcessExit() = default;

    // Returns once `pid` has exited, or at once, silently, when it cannot be watched
    // (already gone, no permission, no kernel support). Interrupted waits are resumed.
    virtual void waitForExit(std::int32_t pid) noexcept = 0;

    static ProcessExit& system();
};

}  // namespace tallowbeck
