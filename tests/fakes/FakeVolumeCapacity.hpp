#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "TallowbeckCore/platform/VolumeCapacity.hpp"

namespace tallowbeck::testing {

// Answers with `result` for every path and records the paths asked for. Any thread may ask.
class FakeVolumeCapacity final : public VolumeCapacity {
public:
    std::optional<VolumeCapacities> result;

    std::optional<VolumeCapacities> capacities(const std::string& path) noexcept override {
        const std::scoped_lock guard(lock_);
        askedPaths_.push_back(path);
        return result;
    }

    std::vector<std::string> askedPaths() const {
        const std::scoped_lock guard(lock_);
        return askedPaths_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> askedPaths_;
};

}  // namespace tallowbeck::testing
