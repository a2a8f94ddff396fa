#pragma once

#include <poll.h>

#include <cstdint>

namespace tallowbeck {

// The system calls of a wait for a process to exit, so that a test can make any one of them
// fail or be interrupted. Each behaves like its namesake: -1 with errno set on failure.
class ProcessDescriptorCalls {
public:
    virtual ~ProcessDescriptorCalls() = default;

    // pidfd_open with no flags: a descriptor that becomes readable when `pid` exits.
    virtual int pidfdOpen(std::int32_t pid) = 0;
    virtual int poll(pollfd* entries, nfds_t count, int timeout) = 0;

    static ProcessDescriptorCalls& system() noexcept;
};

}  // namespace tallowbeck
