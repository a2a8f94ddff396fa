#include "TallowbeckCore/platform/UserDirectories.hpp"

#include <cstdlib>

namespace tallowbeck {

std::optional<std::string> UserDirectories::environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<std::filesystem::path> UserDirectories::absoluteDirectory(
    const std::optional<std::string>& value) {
    if (!value || !std::filesystem::path(*value).is_absolute()) {
        return std::nullopt;
    }
    return std::filesystem::path(*value);
}

}  // namespace tallowbeck
