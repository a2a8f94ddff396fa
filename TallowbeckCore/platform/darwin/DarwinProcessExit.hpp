#pragma once

#include "TallowbeckCore/platform/ProcessExit.hpp"
#include "TallowbeckCore/platform/darwin/KernelQueueCalls.hpp"

namespace tallowbeck {

// Waits for the exit notification of a kernel queue, which can watch any process the caller
// may see, not only its own children.
class DarwinProcessExit final : public ProcessExit {
public:
    explicit DarwinProcessExit(KernelQueueCalls& calls = KernelQueueCalls::system()) noexcept;

    void waitForExit(std::int32_t pid) noexcept override;
    // The kernel queue itself, which is readable while the exit event waits in it.
    FileDescriptor exitDescriptor(std::int32_t pid) noexcept override;

private:
    // False when the kernel refused, typically because the process is already gone; a result
    // other than 0 would mean an event came back although none was asked for, so it is not
    // waited on either.
    bool registerExitInterest(int queue, std::int32_t pid) noexcept;
    // Any outcome other than an interruption ends the wait: the exit itself, or an error that
    // would only repeat.
    void waitForEvent(int queue) noexcept;

    KernelQueueCalls& calls_;
};

}  // namespace tallowbeck
