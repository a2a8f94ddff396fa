#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>

#include "TallowbeckCore/fanboost/FanBoostRecoveryJournal.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck {

// The fan helper's recovery flag in a small file holding "pending\n" or "clear\n". A missing
// file is clear; a file that cannot be read, or holds anything else, is pending. Each change
// replaces the file atomically and is flushed to the disk before it returns.
//
// Only the helper's own file is believed: a regular file owned by `user` that neither its group
// nor other users may write to, in a folder with the same properties, opened without following
// a link and without waiting (so a FIFO planted there cannot hold the helper up). Anything else
// reads as pending, so that the helper restores automatic control and then replaces the file
// with its own. Only the first few bytes are read, however large the file.
//
// The flag is the helper's state, not a user's, so it lives by default in the system's folder
// for service state: on macOS
//   /Library/Application Support/com.tallowbeck.Quillmoss.FanHelper/fan-boost-recovery
// and on Linux
//   /var/lib/com.tallowbeck.Quillmoss.FanHelper/fan-boost-recovery
// (writable by the superuser only, which the helper runs as). The folder is created on the
// first change; an existing folder that is not the user's alone is refused then.
class FanBoostRecoveryFile final : public FanBoostRecoveryJournal {
public:
    static constexpr std::string_view pendingContents = "pending\n";
    static constexpr std::string_view clearContents = "clear\n";

    static std::filesystem::path defaultPath();

    // A relative `path` is taken from the current folder.
    explicit FanBoostRecoveryFile(std::filesystem::path path = defaultPath(),
                                  FileCalls& calls = FileCalls::system(), uid_t user = ::geteuid());

    bool isPending() noexcept override;
    // Throws std::system_error, leaving the file as it was; EPERM or ELOOP (naming the folder)
    // when the folder is not the user's alone.
    void setPending(bool pending) override;

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    // Throws std::system_error; ENOENT when the folder does not exist.
    void requireOwnFolder();
    bool readsClear();

    std::filesystem::path path_;
    FileCalls& calls_;
    uid_t user_;
};

}  // namespace tallowbeck
