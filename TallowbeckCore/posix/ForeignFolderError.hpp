#pragma once

#include <sys/types.h>

#include <filesystem>
#include <system_error>

namespace tallowbeck {

// A folder left uncreated because the folder it would go in belongs to another user (EPERM,
// generic category). Made there, it would belong to the one creating it, and the folder's owner
// could neither use nor remove it; see FileOwnership::requireFolderToCreateIn.
class ForeignFolderError : public std::system_error {
public:
    ForeignFolderError(std::filesystem::path folder, uid_t owner, uid_t user);

    // The folder that was not created.
    const std::filesystem::path& folder() const noexcept { return folder_; }
    // The owner of the folder it would have gone in.
    uid_t owner() const noexcept { return owner_; }

private:
    std::filesystem::path folder_;
    uid_t owner_;
};

}  // namespace tallowbeck
