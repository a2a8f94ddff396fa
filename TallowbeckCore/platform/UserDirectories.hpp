#pragma once

#include <filesystem>
#include <optional>

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
};

}  // namespace tallowbeck
