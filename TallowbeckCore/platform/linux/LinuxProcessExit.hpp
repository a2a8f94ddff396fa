#pragma once

#include "TallowbeckCore/platform/ProcessExit.hpp"
#include "TallowbeckCore/platform/linux/ProcessDescriptorCalls.hpp"

namespace tallowbeck {

// Waits on a process descriptor (pidfd_open), which becomes readable when the process exits.
// Unlike waitpid this works for any process the caller may see, not only for its children.
class LinuxProcessExit final : public ProcessExit {
public:
    explicit LinuxProcessExit(
        ProcessDescriptorCalls& calls = ProcessDescriptorCalls::system()) noexcept;

    void waitForExit(std::int32_t pid) noexcept override;
    FileDescriptor exitDescriptor(std::int32_t pid) noexcept override;

private:
    ProcessDescriptorCalls& calls_;
};

}  // namespace tallowbeck
