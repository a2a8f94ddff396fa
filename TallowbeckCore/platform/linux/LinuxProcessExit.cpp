#include "TallowbeckCore/platform/linux/LinuxProcessExit.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "TallowbeckCore/support/SystemCall.hpp"

namespace tallowbeck {
namespace {

// Any outcome other than an interruption ends the wait: the exit itself, or an error that would
// only repeat.
void waitUntilReadable(int descriptor) noexcept {
    pollfd entry{descriptor, POLLIN, 0};
    while (::poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

}  // namespace

void LinuxProcessExit::waitForExit(std::int32_t pid) noexcept {
    const FileDescriptor descriptor = exitDescriptor(pid);
    if (descriptor.isOpen()) {
        waitUntilReadable(descriptor.get());
    }
}

// Closed when the process is already gone, is not visible to us, or the kernel lacks pidfds.
// Process descriptors are always closed on exec.
FileDescriptor LinuxProcessExit::exitDescriptor(std::int32_t pid) noexcept {
    const long descriptor =
        SystemCall::retryingInterrupted([pid] { return ::syscall(SYS_pidfd_open, pid, 0U); });
    return FileDescriptor(static_cast<int>(descriptor));
}

ProcessExit& ProcessExit::system() {
    static LinuxProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
