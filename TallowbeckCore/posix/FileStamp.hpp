#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace tallowbeck {

// The identity of one file's current content. A rename over the file changes the inode, so even
// a same-size rewrite within the modification time's resolution shows.
struct FileStamp {
    std::uint64_t size = 0;
    std::uint64_t inode = 0;
    // Since 1970-01-01 UTC, to the nanosecond where the file system keeps it.
    std::optional<std::chrono::nanoseconds> modifiedAt;

    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

}  // namespace tallowbeck
