#include "tests/fakes/RecordingProcessExit.hpp"

namespace tallowbeck::testing {

void RecordingProcessExit::waitForExit(std::int32_t pid) noexcept { watchedPIDs_.push_back(pid); }

}  // namespace tallowbeck::testing
