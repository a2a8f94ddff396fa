#include "TallowbeckCore/platform/linux/LinuxUserDirectories.hpp"

#include <utility>

namespace tallowbeck {

const UserDirectories& UserDirectories::system() {
    static const LinuxUserDirectories instance(environmentVariable);
    return instance;
}

LinuxUserDirectories::LinuxUserDirectories(Environment environment)
    : environment_(std::move(environment)) {}

std::optional<std::filesystem::path> LinuxUserDirectories::applicationSupport() const {
    if (auto dataHome = environmentDirectory("XDG_DATA_HOME")) {
        return dataHome;
    }
    if (auto home = environmentDirectory("HOME")) {
        return *home / ".local" / "share";
    }
    return std::nullopt;
}

std::filesystem::path LinuxUserDirectories::temporary() const {
    return environmentDirectory("TMPDIR").value_or("/tmp");
}

std::optional<std::filesystem::path> LinuxUserDirectories::environmentDirectory(
    const char* name) const {
    return absoluteDirectory(environment_(name));
}

}  // namespace tallowbeck
