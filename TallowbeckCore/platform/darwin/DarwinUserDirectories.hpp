#pragma once

#include <string_view>

#include "TallowbeckCore/platform/UserDirectories.hpp"

namespace tallowbeck {

// The user's Library/Application Support directory as sysdir names it, and the per-user
// temporary directory that the system keeps for each user (else $TMPDIR, else /tmp).
class DarwinUserDirectories final : public UserDirectories {
public:
    std::optional<std::filesystem::path> applicationSupport() const override;
    std::filesystem::path temporary() const override;

private:
    // sysdir names the user's directories below "~", which is the home directory in $HOME.
    static std::optional<std::filesystem::path> withHomeExpanded(std::string_view path);
};

}  // namespace tallowbeck
