#include "TallowbeckCore/platform/linux/LinuxVolumeCapacity.hpp"

#include <sys/statvfs.h>

#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

namespace {

std::optional<std::int64_t> bytesOfBlocks(std::uint64_t blocks, std::uint64_t blockSize) noexcept {
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(blocks, blockSize, &bytes)) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace

VolumeCapacity& VolumeCapacity::system() {
    static LinuxVolumeCapacity instance;
    return instance;
}

std::optional<VolumeCapacities> LinuxVolumeCapacity::capacities(const std::string& path) noexcept {
    struct statvfs volume {};
    if (SystemCall::retryingInterrupted([&] { return ::statvfs(path.c_str(), &volume); }) != 0) {
        return std::nullopt;
    }
    return VolumeCapacities{
        .total = bytesOfBlocks(volume.f_blocks, volume.f_frsize),
        .availableForImportantUsage = bytesOfBlocks(volume.f_bavail, volume.f_frsize)};
}

}  // namespace tallowbeck
