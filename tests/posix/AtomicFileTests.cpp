#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "tests/fakes/ForwardingFileCalls.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

// Remembers the directories that were opened to be flushed.
class DirectoryFlushes final : public testing::ForwardingFileCalls {
public:
    int open(const char* path, int flags, mode_t mode) override {
        if ((flags & O_DIRECTORY) != 0) {
            flushed.emplace_back(path);
        }
        return ForwardingFileCalls::open(path, flags, mode);
    }

    std::vector<std::filesystem::path> flushed;
};

// Runs the test in a directory of its own and goes back afterwards.
class InDirectory {
public:
    explicit InDirectory(const std::filesystem::path& directory)
        : previous_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    ~InDirectory() { std::filesystem::current_path(previous_); }
    InDirectory(const InDirectory&) = delete;
    InDirectory& operator=(const InDirectory&) = delete;

private:
    std::filesystem::path previous_;
};

TEST(AtomicFileTests, ReplacesTheFileAndFlushesItsDirectory) {
    const testing::TemporaryDirectory directory;
    const std::filesystem::path target = directory.write("file", "old");
    DirectoryFlushes calls;
    AtomicFile::replace(calls, target, "new", 0600);
    EXPECT_EQ(testing::contentsOf(target), "new");
    EXPECT_EQ(calls.flushed, std::vector{directory.path()});
}

TEST(AtomicFileTests, ABareFileNameFlushesTheWorkingDirectory) {
    const testing::TemporaryDirectory directory;
    const InDirectory inside(directory.path());
    DirectoryFlushes calls;
    AtomicFile::replace(calls, "file", "new", 0600);
    EXPECT_EQ(testing::contentsOf(directory.path() / "file"), "new");
    EXPECT_EQ(calls.flushed, std::vector<std::filesystem::path>{"."});
}

TEST(AtomicFileTests, ASymbolicLinkInTheTargetsPlaceIsReplacedNotFollowed) {
    const testing::TemporaryDirectory directory;
    const std::filesystem::path elsewhere = directory.write("elsewhere", "someone's data");
    const std::filesystem::path target = directory.path() / "file";
    std::filesystem::create_symlink(elsewhere, target);
    AtomicFile::replace(FileCalls::system(), target, "new", 0600);
    EXPECT_FALSE(std::filesystem::is_symlink(target));
    EXPECT_EQ(testing::contentsOf(target), "new");
    EXPECT_EQ(testing::contentsOf(elsewhere), "someone's data");
}

}  // namespace
}  // namespace tallowbeck
