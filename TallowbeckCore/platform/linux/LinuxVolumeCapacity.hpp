#pragma once

#include "TallowbeckCore/platform/VolumeCapacity.hpp"

namespace tallowbeck {

// Volume capacities from statvfs: total = f_blocks × f_frsize, available = f_bavail × f_frsize,
// the space an unprivileged process may still use (the root reserve left out). A capacity that
// does not fit 64 signed bits is absent.
class LinuxVolumeCapacity final : public VolumeCapacity {
public:
    std::optional<VolumeCapacities> capacities(const std::string& path) noexcept override;
};

}  // namespace tallowbeck
