#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>

#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// A file opened as itself, never through a symbolic link, and known to be a regular file of the
// user's own before anything is read from it or written to it.
struct OwnedFile {
    FileDescriptor descriptor;
    // As fstat gave them right after opening.
    FileAttributes attributes;

    // Opens `path` with `flags` and O_NOFOLLOW, then refuses what FileOwnership::requireUsersFile
    // refuses. Also opens without waiting (O_NONBLOCK, which regular files ignore), so that a
    // FIFO planted in the file's place is refused instead of blocking the open. Throws
    // std::system_error naming the file; the descriptor is closed then.
    static OwnedFile open(FileCalls& calls, const std::filesystem::path& path, int flags,
                          mode_t mode, uid_t user);
    // The same, but nothing when the file does not exist.
    static std::optional<OwnedFile> openIfExists(FileCalls& calls,
                                                 const std::filesystem::path& path, int flags,
                                                 uid_t user);
};

}  // namespace tallowbeck
