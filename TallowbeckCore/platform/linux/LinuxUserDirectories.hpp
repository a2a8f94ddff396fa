#pragma once

#include <functional>
#include <optional>
#include <string>

#include "TallowbeckCore/platform/UserDirectories.hpp"

namespace tallowbeck {

// The XDG base directories: application support is $XDG_DATA_HOME, else $HOME/.local/share
// (relative values do not count, as the XDG rules say); the temporary directory is $TMPDIR,
// else /tmp.
class LinuxUserDirectories final : public UserDirectories {
public:
    // The value of an environment variable, or nothing when it is not set.
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    explicit LinuxUserDirectories(Environment environment);

    std::optional<std::filesystem::path> applicationSupport() const override;
    std::filesystem::path temporary() const override;

private:
    std::optional<std::filesystem::path> environmentDirectory(const char* name) const;

    Environment environment_;
};

}  // namespace tallowbeck
