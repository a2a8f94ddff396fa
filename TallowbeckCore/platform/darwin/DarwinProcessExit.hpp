#pragma once

#include "TallowbeckCore/platform/ProcessExit.hpp"

namespace tallowbeck {

// Waits for the exit notification of a kernel queue, which can watch any process the caller
// may see, not only its own children.
class DarwinProcessExit final : public ProcessExit {
public:
    void waitForExit(std::int32_t pid) noexcept override;
    // The kernel queue itself, which is readable while the exit event waits in it.
    FileDescriptor exitDescriptor(std::int32_t pid) noexcept override;
};

}  // namespace tallowbeck
