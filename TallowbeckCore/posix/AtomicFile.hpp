#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string_view>

#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck {

// Whole-file writes that readers see either entirely or not at all, and that survive a crash
// once they return.
class AtomicFile {
public:
    // Writes `bytes` to a new file with permissions `mode` beside `target`, flushes it, moves it
    // over `target` in one step and flushes the directory. Throws std::system_error; `target` is
    // then unchanged. A symbolic link at `target` is replaced, not followed. The new file is
    // made with O_EXCL, so it is always the caller's own, never one planted under its name.
    static void replace(FileCalls& calls, const std::filesystem::path& target,
                        std::string_view bytes, mode_t mode);
};

}  // namespace tallowbeck
