#include "TallowbeckCore/platform/linux/LinuxUserDirectories.hpp"

#include <cstdlib>
#include <utility>

namespace tallowbeck {

const UserDirectories& UserDirectories::system() {
    static const LinuxUserDirectories instance([](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
    return instance;
}

LinuxUserDirectories::LinuxUserDirectories(Environment environment)
    : environment_(std::move(environment)) {}

std::optional<std::filesystem::path> LinuxUserDirectories::applicationSupport() const {
    if (auto dataHome = absoluteDirectory("XDG_DATA_HOME")) {
        return dataHome;
    }
    if (auto home = absoluteDirectory("HOME")) {
        return *home / ".local" / "share";
    }
    return std::nullopt;
}

std::filesystem::path LinuxUserDirectories::temporary() const {
    return absoluteDirectory("TMPDIR").value_or("/tmp");
}

std::optional<std::filesystem::path> LinuxUserDirectories::absoluteDirectory(
    const char* name) const {
    const std::optional<std::string> value = environment_(name);
    if (!value || value->empty() || !std::filesystem::path(*value).is_absolute()) {
        return std::nullopt;
    }
    return std::filesystem::path(*value);
}

}  // namespace tallowbeck
