#include "TallowbeckCore/power/ProcessExitWatcher.hpp"

namespace tallowbeck::ProcessExitWatcher {
namespace {

constexpr std::int32_t lowestWatchablePID = 2;

}  // namespace

void waitForExit(std::int32_t pid, ProcessExit& platform) noexcept {
    if (pid < lowestWatchablePID) {
        return;
    }
    platform.waitForExit(pid);
}

FileDescriptor exitDescriptor(std::int32_t pid, ProcessExit& platform) noexcept {
    if (pid < lowestWatchablePID) {
        return FileDescriptor();
    }
    return platform.exitDescriptor(pid);
}

}  // namespace tallowbeck::ProcessExitWatcher
