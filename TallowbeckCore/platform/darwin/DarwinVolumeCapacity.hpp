#pragma once

#include "TallowbeckCore/platform/VolumeCapacity.hpp"

namespace tallowbeck {

// The volume resource values that Core Foundation reports for a file URL.
class DarwinVolumeCapacity final : public VolumeCapacity {
public:
    std::optional<VolumeCapacities> capacities(const std::string& path) noexcept override;
};

}  // namespace tallowbeck
