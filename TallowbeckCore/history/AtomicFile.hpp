#pragma once

#include <filesystem>
#include <string_view>

#include "TallowbeckCore/platform/FileCalls.hpp"

namespace tallowbeck {

// Whole-file writes that readers see either entirely or not at all, and that survive a crash
// once they return.
class AtomicFile {
public:
    // Writes `bytes` to a new file beside `target`, flushes it, moves it over `target` in one
    // step and flushes the directory. Throws std::system_error; `target` is then unchanged.
    static void replace(const FileCalls& calls, const std::filesystem::path& target,
                        std::string_view bytes);

    // Writes all of `bytes` at the descriptor's offset, however many calls that takes. Throws
    // std::system_error naming `what`.
    static void writeAll(const FileCalls& calls, int descriptor, std::string_view bytes,
                         const std::string& what);
    // Throws std::system_error naming `what`.
    static void flush(const FileCalls& calls, int descriptor, const std::string& what);
};

}  // namespace tallowbeck
