#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tallowbeck {

// Where the user's per-application data and temporary files belong.
class UserDirectories {
public:
    virtual ~UserDirectories() = default;

    // The directory below which applications keep the user's data; nothing when the system
    // cannot name one.
    virtual std::optional<std::filesystem::path> applicationSupport() const = 0;
    virtual std::filesystem::path temporary() const = 0;

    static const UserDirectories& system();

protected:
    // The value of the process's environment variable; nothing when it is not set.
    static std::optional<std::string> environmentVariable(const char* name);
    // `value` when it names an absolute path; nothing when it is absent or relative, since a
    // relative directory would move with the working directory.
    static std::optional<std::filesystem::path> absoluteDirectory(
        const std::optional<std::string>& value);
};

}  // namespace tallowbeck
