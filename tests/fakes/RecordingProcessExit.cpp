#include "tests/fakes/RecordingProcessExit.hpp"

namespace tallowbeck::testing {

void RecordingProcessExit::waitForExit(std::int32_t pid) noexcept { watchedPIDs_.push_back(pid); }

FileDescriptor RecordingProcessExit::exitDescriptor(std::int32_t pid) noexcept {
    watchedPIDs_.push_back(pid);
    return FileDescriptor();
}

}  // namespace tallowbeck::testing
