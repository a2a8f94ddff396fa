#include "TallowbeckCore/platform/darwin/DarwinProcessExit.hpp"

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

}  // namespace

DarwinProcessExit::DarwinProcessExit(KernelQueueCalls& calls) noexcept : calls_(calls) {}

void DarwinProcessExit::waitForExit(std::int32_t pid) noexcept {
    const FileDescriptor queue = exitDescriptor(pid);
    if (queue.isOpen()) {
        waitForEvent(queue.get());
    }
}

FileDescriptor DarwinProcessExit::exitDescriptor(std::int32_t pid) noexcept {
    FileDescriptor queue(calls_.kqueue());
    if (queue.isOpen() && !registerExitInterest(queue.get(), pid)) {
        queue.close();
    }
    return queue;
}

bool DarwinProcessExit::registerExitInterest(int queue, std::int32_t pid) noexcept {
    const kevent64_s change = exitInterest(pid);
    return SystemCall::retryingInterrupted(
               [&] { return calls_.kevent64(queue, &change, 1, nullptr, 0, 0, nullptr); }) == 0;
}

void DarwinProcessExit::waitForEvent(int queue) noexcept {
    kevent64_s event{};
    SystemCall::retryingInterrupted(
        [&] { return calls_.kevent64(queue, nullptr, 0, &event, 1, 0, nullptr); });
}

ProcessExit& ProcessExit::system() {
    static DarwinProcessExit instance;
    return instance;
}

}  // namespace tallowbeck
