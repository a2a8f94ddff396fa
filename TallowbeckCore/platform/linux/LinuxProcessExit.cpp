#include "TallowbeckCore/platform/linux/LinuxProcessExit.hpp"

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

LinuxProcessExit::LinuxProcessExit(ProcessDescriptorCalls& calls) noexcept : calls_(calls) {}

void LinuxProcessExit::waitForExit(std::int32_t pid) noexcept {
    const FileDescriptor descriptor = exitDescriptor(pid);
    if (!descriptor.isOpen()) {
        return;
    }
    // Any outcome other than an interruption ends the wait: the exit itself, or an error that
    // would only repeat.
    pollfd entry{descriptor.get(), POLLIN, 0};
    SystemCall::retryingInterrupted([&] { return calls_.poll(&entry, 1, -1); });
}

// Closed when the process is already gone, is not visible to us, or the kernel lacks pidfds.
// Process descriptors are always closed on exec.
FileDescriptor LinuxProcessExit::exitDescriptor(std::int32_t pid) noexcept {
    return FileDescriptor(SystemCall::retryingInterrupted([&] { return calls_.pidfdOpen(pid); }));
}

ProcessExit& ProcessExit::system() {
    static LinuxProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
