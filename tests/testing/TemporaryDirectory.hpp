#pragma once

#include <filesystem>
#include <string_view>

namespace tallowbeck::testing {

// A fresh directory below the system's temporary directory, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

    // Writes `content` to `relativePath`, creating the folders on the way.
    std::filesystem::path write(const std::filesystem::path& relativePath,
                                std::string_view content) const;

private:
    std::filesystem::path path_;
};

}  // namespace tallowbeck::testing
