#include <system_error>

#include "TallowbeckCore/platform/RunningExecutable.hpp"

namespace tallowbeck::RunningExecutable {

std::optional<std::filesystem::path> path() noexcept {
    std::error_code error;
    std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return std::nullopt;
    }
    return executable;
}

}  // namespace tallowbeck::RunningExecutable
