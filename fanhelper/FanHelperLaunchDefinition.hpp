#pragma once

#include <filesystem>
#include <string>

namespace tallowbeck::fanhelper {

// The launch definition that has the system service manager run the helper as a daemon on
// macOS: labelled and reachable under FanBoostService::name, started at load (so that a flag
// left by a crash is acted on at once) and started again whenever it ends unsuccessfully.
struct FanHelperLaunchDefinition {
    // The property list for the helper program at `program`.
    static std::string text(const std::filesystem::path& program);
    // Writes it as `folder`/FanBoostService::plistName, readable by all, atomically; gives the
    // file's path. Throws std::system_error.
    static std::filesystem::path write(const std::filesystem::path& folder,
                                       const std::filesystem::path& program);
};

}  // namespace tallowbeck::fanhelper
