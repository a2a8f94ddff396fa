#pragma once

#include <filesystem>

#include "TallowbeckCore/fanboost/FanBoostRecoveryJournal.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck {

// The fan helper's recovery flag in a small file holding "pending\n" or "clear\n". A missing
// file is clear; a file that cannot be read, or holds anything else, is pending. Each change
// replaces the file atomically and is flushed to the disk before it returns.
//
// The flag is the helper's state, not a user's, so it lives by default in the system's folder
// for service state: on macOS
//   /Library/Application Support/com.tallowbeck.Quillmoss.FanHelper/fan-boost-recovery
// and on Linux
//   /var/lib/com.tallowbeck.Quillmoss.FanHelper/fan-boost-recovery
// (writable by the superuser only, which the helper runs as). The folder is created on the
// first change.
class FanBoostRecoveryFile final : public FanBoostRecoveryJournal {
public:
    static constexpr std::string_view pendingContents = "pending\n";
    static constexpr std::string_view clearContents = "clear\n";

    static std::filesystem::path defaultPath();

    explicit FanBoostRecoveryFile(std::filesystem::path path = defaultPath(),
                                  FileCalls& calls = FileCalls::system());

    bool isPending() noexcept override;
    // Throws std::system_error, leaving the file as it was.
    void setPending(bool pending) override;

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
    FileCalls& calls_;
};

}  // namespace tallowbeck
