#pragma once

#include <cstdint>
#include <vector>

#include "TallowbeckCore/platform/ProcessExit.hpp"

namespace tallowbeck::testing {

// A process-exit platform that returns at once and remembers every pid it was asked to watch.
class RecordingProcessExit final : public ProcessExit {
public:
    void waitForExit(std::int32_t pid) noexcept override;
    // Records the pid like a wait and hands out a closed descriptor.
    FileDescriptor exitDescriptor(std::int32_t pid) noexcept override;

    const std::vector<std::int32_t>& watchedPIDs() const noexcept { return watchedPIDs_; }

private:
    std::vector<std::int32_t> watchedPIDs_;
};

}  // namespace tallowbeck::testing
