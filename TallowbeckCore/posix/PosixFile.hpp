#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// Whole reads, writes and flushes over FileCalls, retried when a signal interrupts them. Each
// throws std::system_error (generic category) naming the file; `what` is its path.
class PosixFile {
public:
    static FileDescriptor open(FileCalls& calls, const std::filesystem::path& path, int flags,
                               mode_t mode = 0);
    // Everything from the descriptor's offset to the end, in a string with at least
    // `spareCapacity` bytes of room after the content.
    static std::string readAll(FileCalls& calls, int descriptor, const std::string& what,
                               std::size_t spareCapacity = 0);
    // All of `bytes` at the descriptor's offset, however many calls that takes.
    static void writeAll(FileCalls& calls, int descriptor, std::string_view bytes,
                         const std::string& what);
    static void flush(FileCalls& calls, int descriptor, const std::string& what);
    // Creates `directory` and every missing folder above it with `mode`; those that exist are
    // kept as they are. Creates none in a folder that belongs to someone other than `user` or
    // the superuser (FileOwnership::requireFolderToCreateIn).
    static void createDirectories(FileCalls& calls, const std::filesystem::path& directory,
                                  mode_t mode, uid_t user);
};

}  // namespace tallowbeck
