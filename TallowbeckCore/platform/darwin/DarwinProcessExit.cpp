#include "TallowbeckCore/platform/darwin/DarwinProcessExit.hpp"

#include <sys/event.h>
#include <unistd.h>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {
namespace {

static_assert(sizeof(kevent64_s) == 48, "the kernel reads 48-byte event records");

// One-shot interest in the exit of `pid`.
kevent64_s exitInterest(std::int32_t pid) noexcept {
    return {.ident = static_cast<std::uint32_t>(pid),
            .filter = EVFILT_PROC,
            .flags = EV_ADD | EV_ENABLE | EV_ONESHOT,
            .fflags = NOTE_EXIT,
            .data = 0,
            .udata = 0,
            .ext = {0, 0}};
}

// False when the kernel refused, typically because the process is already gone; a result other
// than 0 would mean an event came back although none was asked for, so it is not waited on
// either.
bool registerExitInterest(int queue, std::int32_t pid) noexcept {
    const kevent64_s change = exitInterest(pid);
    return SystemCall::retryingInterrupted(
               [&] { return ::kevent64(queue, &change, 1, nullptr, 0, 0, nullptr); }) == 0;
}

// Any outcome other than an interruption ends the wait: the exit itself, or an error that would
// only repeat.
void waitForEvent(int queue) noexcept {
    kevent64_s event{};
    SystemCall::retryingInterrupted(
        [&] { return ::kevent64(queue, nullptr, 0, &event, 1, 0, nullptr); });
}

}  // namespace

void DarwinProcessExit::waitForExit(std::int32_t pid) noexcept {
    const FileDescriptor queue(::kqueue());
    if (queue.isOpen() && registerExitInterest(queue.get(), pid)) {
        waitForEvent(queue.get());
    }
}

ProcessExit& ProcessExit::system() {
    static DarwinProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
