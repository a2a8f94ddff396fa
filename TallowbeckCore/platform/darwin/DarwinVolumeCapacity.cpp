#include "TallowbeckCore/platform/darwin/DarwinVolumeCapacity.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include "TallowbeckCore/platform/darwin/CFOwned.hpp"

namespace tallowbeck {
namespace {

// A number property as far as the volume reports it: the outer optional is empty when the
// request failed, the inner one when the volume has no such value.
using PropertyAnswer = std::optional<std::optional<std::int64_t>>;

std::optional<std::int64_t> int64Value(CFTypeRef value) noexcept {
    std::int64_t number = 0;
    if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) {
        return std::nullopt;
    }
    return number;
}

PropertyAnswer int64Property(CFURLRef url, CFStringRef key) noexcept {
    CFTypeRef value = nullptr;
    if (!CFURLCopyResourcePropertyForKey(url, key, &value, nullptr)) {
        return std::nullopt;
    }
    const CFOwned<CFTypeRef> owned{value};
    return int64Value(value);
}

// Without the directory flag a path naming a regular file stays valid; the volume is the same
// either way.
CFOwned<CFURLRef> fileURL(const std::string& path) noexcept {
    return CFOwned<CFURLRef>{CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), false)};
}

}  // namespace

std::optional<VolumeCapacities> DarwinVolumeCapacity::capacities(const std::string& path) noexcept {
    const CFOwned<CFURLRef> url = fileURL(path);
    if (!url) {
        return std::nullopt;
    }
    const PropertyAnswer total = int64Property(url.get(), kCFURLVolumeTotalCapacityKey);
    const PropertyAnswer available =
        int64Property(url.get(), kCFURLVolumeAvailableCapacityForImportantUsageKey);
    if (!total || !available) {
        return std::nullopt;
    }
    return VolumeCapacities{.total = *total, .availableForImportantUsage = *available};
}

VolumeCapacity& VolumeCapacity::system() {
    static DarwinVolumeCapacity instance;
    return instance;
}

}  // namespace tallowbeck
