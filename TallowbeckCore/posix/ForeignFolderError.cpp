#include "TallowbeckCore/posix/ForeignFolderError.hpp"

#include <cerrno>
#include <string>
#include <utility>

namespace tallowbeck {

ForeignFolderError::ForeignFolderError(std::filesystem::path folder, uid_t owner, uid_t user)
    : std::system_error(EPERM, std::generic_category(),
                        "refusing to create " + folder.string() + ": " +
                            folder.parent_path().string() + " belongs to user " +
                            std::to_string(owner) + ", not to user " + std::to_string(user)),
      folder_(std::move(folder)),
      owner_(owner) {}

}  // namespace tallowbeck
