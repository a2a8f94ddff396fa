#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "TallowbeckCore/history/FileStamp.hpp"

namespace tallowbeck {

// The stamp of the file at `path` as stat reports it; nothing when stat fails. The POSIX systems
// differ only in the name of the field with the modification time, which `modificationTime` picks.
template <timespec stat::*modificationTime>
std::optional<FileStamp> posixFileStamp(const char* path) {
    struct stat attributes {};
    if (::stat(path, &attributes) != 0) {
        return std::nullopt;
    }
    const timespec& modifiedAt = attributes.*modificationTime;
    return FileStamp{.size = static_cast<std::uint64_t>(attributes.st_size),
                     .inode = static_cast<std::uint64_t>(attributes.st_ino),
                     .modifiedAt = std::chrono::seconds(modifiedAt.tv_sec) +
                                   std::chrono::nanoseconds(modifiedAt.tv_nsec)};
}

}  // namespace tallowbeck
