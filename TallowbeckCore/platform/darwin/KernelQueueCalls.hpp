#pragma once

#include <sys/event.h>

namespace tallowbeck {

// The system calls of a wait for a process to exit, so that a test can make any one of them
// fail or be interrupted. Each behaves like its namesake: -1 with errno set on failure.
class KernelQueueCalls {
public:
    virtual ~KernelQueueCalls() = default;

    virtual int kqueue() = 0;
    virtual int kevent64(int queue, const kevent64_s* changes, int changeCount, kevent64_s* events,
                         int eventCount, unsigned int flags, const timespec* timeout) = 0;

    static KernelQueueCalls& system() noexcept;
};

}  // namespace tallowbeck
