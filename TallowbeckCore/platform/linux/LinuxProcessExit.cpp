#include "TallowbeckCore/platform/linux/LinuxProcessExit.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {
namespace {

// Empty when the process is already gone, is not visible to us, or the kernel lacks pidfds.
FileDescriptor openProcessDescriptor(std::int32_t pid) noexcept {
    return FileDescriptor(static_cast<int>(
        SystemCall::retryingInterrupted([&] { return ::syscall(SYS_pidfd_open, pid, 0U); })));
}

// Any outcome other than an interruption ends the wait: the exit itself, or an error that would
// only repeat.
void waitUntilReadable(int descriptor) noexcept {
    pollfd entry{descriptor, POLLIN, 0};
    SystemCall::retryingInterrupted([&] { return ::poll(&entry, 1, -1); });
}

}  // namespace

void LinuxProcessExit::waitForExit(std::int32_t pid) noexcept {
    const FileDescriptor descriptor = openProcessDescriptor(pid);
    if (descriptor.isOpen()) {
        waitUntilReadable(descriptor.get());
    }
}

ProcessExit& ProcessExit::system() {
    static LinuxProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
