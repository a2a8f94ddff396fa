#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>

#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;
using testing::contentsOf;
using testing::TemporaryDirectory;

FileCalls& calls = FileCalls::system();

// A descriptor from the table's open, closed when the test is done with it.
FileDescriptor openFile(const std::filesystem::path& path, int flags) {
    return FileDescriptor(calls.open(path.c_str(), flags, 0600));
}

struct stat attributesOf(const std::filesystem::path& path) {
    struct stat attributes {};
    EXPECT_EQ(::stat(path.c_str(), &attributes), 0) << path;
    return attributes;
}

// Sets the file's modification time, to the nanosecond.
void setModificationTime(const std::filesystem::path& path, timespec time) {
    const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

constexpr timespec someTime{.tv_sec = 1713960000, .tv_nsec = 123456789};

TEST(LinuxFileCallsTests, AMissingFileHasNoStamp) {
    TemporaryDirectory directory;
    EXPECT_EQ(calls.stamp((directory.path() / "missing").c_str()), std::nullopt);
}

TEST(LinuxFileCallsTests, TheStampHasTheFilesSizeAndInode) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "twelve bytes");
    const std::optional<FileStamp> stamp = calls.stamp(file.c_str());
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->size, 12u);
    EXPECT_EQ(stamp->size, std::filesystem::file_size(file));
    EXPECT_EQ(stamp->inode, attributesOf(file).st_ino);
}

TEST(LinuxFileCallsTests, TheModificationTimeKeepsItsNanoseconds) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "x");
    setModificationTime(file, someTime);
    const std::optional<FileStamp> stamp = calls.stamp(file.c_str());
    ASSERT_TRUE(stamp);
    const timespec recorded = attributesOf(file).st_mtim;
    EXPECT_EQ(stamp->modifiedAt,
              std::chrono::seconds(recorded.tv_sec) + std::chrono::nanoseconds(recorded.tv_nsec));
    EXPECT_EQ(stamp->modifiedAt, 1713960000s + 123456789ns);
}

TEST(LinuxFileCallsTests, ARenameOverTheFileChangesTheStampEvenWithTheSameSizeContentAndTime) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "same");
    const std::filesystem::path replacement = directory.write("g", "same");
    setModificationTime(file, someTime);
    setModificationTime(replacement, someTime);
    const std::optional<FileStamp> before = calls.stamp(file.c_str());

    ASSERT_EQ(calls.rename(replacement.c_str(), file.c_str()), 0);
    const std::optional<FileStamp> after = calls.stamp(file.c_str());

    ASSERT_TRUE(before && after);
    EXPECT_EQ(after->size, before->size);
    EXPECT_EQ(after->modifiedAt, before->modifiedAt);
    EXPECT_NE(after->inode, before->inode);
    EXPECT_NE(after, before);
}

TEST(LinuxFileCallsTests, OpenCreatesTheFileWithTheModeAndReportsErrno) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "f";
    const FileDescriptor created = openFile(file, O_WRONLY | O_CREAT | O_EXCL);
    ASSERT_GE(created.get(), 0);
    EXPECT_EQ(attributesOf(file).st_mode & 0777, 0600u);

    const FileDescriptor again = openFile(file, O_WRONLY | O_CREAT | O_EXCL);
    EXPECT_EQ(again.get(), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST(LinuxFileCallsTests, WriteAndFsyncPutTheBytesInTheFile) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "f";
    const FileDescriptor opened = openFile(file, O_WRONLY | O_CREAT);
    constexpr std::string_view bytes = "written bytes";
    EXPECT_EQ(calls.write(opened.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(calls.fsync(opened.get()), 0);
    EXPECT_EQ(contentsOf(file), bytes);
}

TEST(LinuxFileCallsTests, WriteAndFsyncOfABadDescriptorFailWithEbadf) {
    errno = 0;
    EXPECT_EQ(calls.write(-1, "x", 1), -1);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_EQ(calls.fsync(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(LinuxFileCallsTests, FtruncateCutsTheFileToTheLength) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "keep|drop");
    const FileDescriptor opened = openFile(file, O_WRONLY);
    EXPECT_EQ(calls.ftruncate(opened.get(), 4), 0);
    EXPECT_EQ(contentsOf(file), "keep");
}

TEST(LinuxFileCallsTests, RenameMovesTheFileAndReportsAMissingSource) {
    TemporaryDirectory directory;
    const std::filesystem::path from = directory.write("from", "moved");
    const std::filesystem::path to = directory.path() / "to";
    ASSERT_EQ(calls.rename(from.c_str(), to.c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(from));
    EXPECT_EQ(contentsOf(to), "moved");

    errno = 0;
    EXPECT_EQ(calls.rename(from.c_str(), to.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(LinuxFileCallsTests, AnExclusiveLockKeepsOutASecondDescriptorUntilReleased) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("lock", "");
    const FileDescriptor holder = openFile(file, O_RDWR);
    const FileDescriptor other = openFile(file, O_RDWR);
    ASSERT_EQ(calls.flock(holder.get(), LOCK_EX), 0);

    errno = 0;
    EXPECT_EQ(calls.flock(other.get(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);

    ASSERT_EQ(calls.flock(holder.get(), LOCK_UN), 0);
    EXPECT_EQ(calls.flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

TEST(LinuxFileCallsTests, ReadAndLseekReadTheBytesFromTheOffset) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "skip|read");
    const FileDescriptor opened = openFile(file, O_RDONLY);
    EXPECT_EQ(calls.lseek(opened.get(), 5, SEEK_SET), 5);
    std::string bytes(8, '\0');
    EXPECT_EQ(calls.read(opened.get(), bytes.data(), bytes.size()), 4);
    EXPECT_EQ(bytes.substr(0, 4), "read");
    EXPECT_EQ(calls.read(opened.get(), bytes.data(), bytes.size()), 0);
}

TEST(LinuxFileCallsTests, FstatGivesTheKindOwnerPermissionsAndStamp) {
    TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("f", "twelve bytes");
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    setModificationTime(file, someTime);
    const FileDescriptor opened = openFile(file, O_RDONLY);
    FileAttributes attributes;
    ASSERT_EQ(calls.fstat(opened.get(), attributes), 0);
    EXPECT_EQ(attributes.kind, FileAttributes::Kind::regular);
    EXPECT_EQ(attributes.owner, ::geteuid());
    EXPECT_EQ(attributes.permissions, 0640u);
    EXPECT_EQ(attributes.stamp(), calls.stamp(file.c_str()));
    EXPECT_EQ(attributes.modifiedAt, 1713960000s + 123456789ns);
}

TEST(LinuxFileCallsTests, LstatDescribesASymbolicLinkItselfAndADirectoryAsOne) {
    TemporaryDirectory directory;
    const std::filesystem::path target = directory.write("target", "x");
    const std::filesystem::path link = directory.path() / "link";
    std::filesystem::create_symlink(target, link);
    FileAttributes attributes;
    ASSERT_EQ(calls.lstat(link.c_str(), attributes), 0);
    EXPECT_EQ(attributes.kind, FileAttributes::Kind::symbolicLink);
    EXPECT_NE(calls.stamp(link.c_str()), calls.stamp(target.c_str()));
    ASSERT_EQ(calls.lstat(directory.path().c_str(), attributes), 0);
    EXPECT_EQ(attributes.kind, FileAttributes::Kind::directory);
}

TEST(LinuxFileCallsTests, MkdirCreatesADirectoryWithTheModeAndUnlinkRemovesAFile) {
    TemporaryDirectory directory;
    const std::filesystem::path folder = directory.path() / "folder";
    const mode_t previousMask = ::umask(0);
    EXPECT_EQ(calls.mkdir(folder.c_str(), 0700), 0);
    ::umask(previousMask);
    EXPECT_EQ(attributesOf(folder).st_mode & 07777, 0700u);
    errno = 0;
    EXPECT_EQ(calls.mkdir(folder.c_str(), 0700), -1);
    EXPECT_EQ(errno, EEXIST);

    const std::filesystem::path file = directory.write("f", "x");
    EXPECT_EQ(calls.unlink(file.c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    errno = 0;
    EXPECT_EQ(calls.unlink(file.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace tallowbeck
