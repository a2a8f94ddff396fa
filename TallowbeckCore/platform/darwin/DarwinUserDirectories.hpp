#pragma once

#include "TallowbeckCore/platform/UserDirectories.hpp"

namespace tallowbeck {

// The user's Library/Application Support directory as sysdir names it, and the per-user
// temporary directory that the system keeps for each user (else $TMPDIR, else /tmp).
class DarwinUserDirectories final : public UserDirectories {
public:
    std::optional<std::filesystem::path> applicationSupport() const override;
    std::filesystem::path temporary() const override;
};

}  // namespace tallowbeck
