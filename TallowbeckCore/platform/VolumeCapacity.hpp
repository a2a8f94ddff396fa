#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tallowbeck {

// Capacities of the volume holding a path, in bytes, as the file system reports them.
struct VolumeCapacities {
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> availableForImportantUsage;
};

class VolumeCapacity {
public:
    virtual ~VolumeCapacity() = default;

    // Empty when the volume cannot be asked at all.
    virtual std::optional<VolumeCapacities> capacities(const std::string& path) noexcept = 0;

    static VolumeCapacity& system();
};

}  // namespace tallowbeck
