#include <mach-o/dyld.h>

#include <cstdint>
#include <string>
#include <system_error>

#include "TallowbeckCore/platform/RunningExecutable.hpp"

namespace tallowbeck::RunningExecutable {

std::optional<std::filesystem::path> path() noexcept {
    try {
        std::uint32_t size = 0;
        _NSGetExecutablePath(nullptr, &size);
        std::string buffer(size, '\0');
        if (_NSGetExecutablePath(buffer.data(), &size) != 0) {
            return std::nullopt;
        }
        buffer.resize(buffer.find('\0'));
        // The path may name a link, or go through one.
        std::error_code error;
        std::filesystem::path executable = std::filesystem::canonical(buffer, error);
        if (error) {
            return std::nullopt;
        }
        return executable;
    } catch (...) {
        return std::nullopt;
    }
}

}  // namespace tallowbeck::RunningExecutable
