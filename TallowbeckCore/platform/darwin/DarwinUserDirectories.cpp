#include "TallowbeckCore/platform/darwin/DarwinUserDirectories.hpp"

#include <sysdir.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <string>
#include <string_view>

namespace tallowbeck {

const UserDirectories& UserDirectories::system() {
    static const DarwinUserDirectories instance;
    return instance;
}

std::optional<std::filesystem::path> DarwinUserDirectories::applicationSupport() const {
    std::array<char, PATH_MAX> path{};
    const sysdir_search_path_enumeration_state state = sysdir_start_search_path_enumeration(
        SYSDIR_DIRECTORY_APPLICATION_SUPPORT, SYSDIR_DOMAIN_MASK_USER);
    if (sysdir_get_next_search_path_enumeration(state, path.data()) == 0) {
        return std::nullopt;
    }
    return withHomeExpanded(path.data());
}

std::optional<std::filesystem::path> DarwinUserDirectories::withHomeExpanded(
    std::string_view path) {
    if (!path.starts_with('~')) {
        return std::filesystem::path(path);
    }
    const std::optional<std::filesystem::path> home =
        absoluteDirectory(environmentVariable("HOME"));
    if (!home) {
        return std::nullopt;
    }
    return std::filesystem::path(home->native() + std::string(path.substr(1)));
}

std::filesystem::path DarwinUserDirectories::temporary() const {
    std::array<char, PATH_MAX> path{};
    // The length includes the terminating zero; 0 is a failure, more than the buffer a cut.
    const std::size_t length = confstr(_CS_DARWIN_USER_TEMP_DIR, path.data(), path.size());
    if (length > 1 && length <= path.size()) {
        return path.data();
    }
    return absoluteDirectory(environmentVariable("TMPDIR")).value_or("/tmp");
}

}  // namespace tallowbeck
