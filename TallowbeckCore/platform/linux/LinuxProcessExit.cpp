#include "TallowbeckCore/platform/linux/LinuxProcessExit.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace tallowbeck {
namespace {

// Empty when the process is already gone, is not visible to us, or the kernel lacks pidfds.
std::optional<int> openProcessDescriptor(std::int32_t pid) noexcept {
    for (;;) {
        const long descriptor = ::syscall(SYS_pidfd_open, pid, 0U);
        if (descriptor >= 0) {
            return static_cast<int>(descriptor);
        }
        if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

// Any outcome other than an interruption ends the wait: the exit itself, or an error that would
// only repeat.
void waitUntilReadable(int descriptor) noexcept {
    pollfd entry{descriptor, POLLIN, 0};
    while (::poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

}  // namespace

void LinuxProcessExit::waitForExit(std::int32_t pid) noexcept {
    const std::optional<int> descriptor = openProcessDescriptor(pid);
    if (!descriptor) {
        return;
    }
    waitUntilReadable(*descriptor);
    ::close(*descriptor);
}

ProcessExit& ProcessExit::system() {
    static LinuxProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
