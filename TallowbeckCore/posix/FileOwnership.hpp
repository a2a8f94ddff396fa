#pragma once

#include <sys/types.h>

#include <filesystem>

#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck {

// Checks that keep a program from being steered by files someone else placed where it expects
// its own: in a folder that others may write to, another user can plant a symbolic link or a
// file of their own under the expected name. A refusal is one std::system_error (generic
// category) naming the file and the reason: ELOOP for a symbolic link, EPERM otherwise.
class FileOwnership {
public:
    // Anything but a symbolic link.
    static void requireNotALink(const FileAttributes& attributes,
                                const std::filesystem::path& path);
    // A regular file owned by `user`.
    static void requireUsersFile(const FileAttributes& attributes, uid_t user,
                                 const std::filesystem::path& path);
    // Neither the file's group nor other users may write to it.
    static void requireUnwritableByOthers(const FileAttributes& attributes,
                                          const std::filesystem::path& path);
    // A directory itself, not a symbolic link to one, owned by `user`, that neither its group
    // nor other users may write to.
    static void requirePrivateDirectory(const FileAttributes& attributes, uid_t user,
                                        const std::filesystem::path& path);
    // Refuses, with ForeignFolderError, to create `folder` in a folder with these attributes
    // unless it belongs to `user` or to the superuser (as / and /home do). A folder created in
    // another user's would be `user`'s: when the superuser makes a history folder below a home
    // folder that it was handed (sudo -E), that home's owner could neither use nor remove it.
    static void requireFolderToCreateIn(const FileAttributes& container, uid_t user,
                                        const std::filesystem::path& folder);
    // The same for the folder that `folder` would go in, examined through `calls`: through "."
    // the folder itself, even where a symbolic link names it, since the new folder would go
    // wherever the link leads.
    static void requireMayCreateFolder(FileCalls& calls, const std::filesystem::path& folder,
                                       uid_t user);
    // Creates `directory` with mode 0700 unless something exists under its name, then checks
    // what is there with requirePrivateDirectory. The folder above it must exist, and is checked
    // with requireMayCreateFolder before anything is created in it.
    static void makePrivateDirectory(FileCalls& calls, const std::filesystem::path& directory,
                                     uid_t user);
};

}  // namespace tallowbeck
