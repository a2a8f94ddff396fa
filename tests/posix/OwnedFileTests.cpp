#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "TallowbeckCore/posix/OwnedFile.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/OpenDescriptors.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;
using testing::thrown;

const uid_t me = ::geteuid();

class OwnedFileTests : public ::testing::Test {
protected:
    std::filesystem::path file() const { return directory.path() / "file"; }

    std::optional<std::system_error> refusalOfOpening(int flags, uid_t user = me) const {
        return thrown<std::system_error>(
            [&] { OwnedFile::open(FileCalls::system(), file(), flags, 0600, user); });
    }

    testing::TemporaryDirectory directory;
};

TEST_F(OwnedFileTests, OpensAFileOfTheUsersOwnAndTellsItsAttributes) {
    directory.write("file", "twelve bytes");
    const OwnedFile opened = OwnedFile::open(FileCalls::system(), file(), O_RDONLY, 0, me);
    EXPECT_TRUE(opened.descriptor.isOpen());
    EXPECT_EQ(opened.attributes.size, 12U);
    EXPECT_EQ(opened.attributes.owner, me);
    EXPECT_EQ(opened.attributes.kind, FileAttributes::Kind::regular);
}

TEST_F(OwnedFileTests, CreatesAMissingFileWhenAsked) {
    const OwnedFile created =
        OwnedFile::open(FileCalls::system(), file(), O_RDWR | O_CREAT, 0600, me);
    EXPECT_TRUE(created.descriptor.isOpen());
    EXPECT_TRUE(std::filesystem::is_regular_file(file()));
}

TEST_F(OwnedFileTests, NeverOpensThroughASymbolicLinkAndLeavesItsTargetAlone) {
    const std::filesystem::path target = directory.write("target", "someone's data");
    std::filesystem::create_symlink(target, file());
    for (const int flags : {O_RDONLY, O_WRONLY | O_TRUNC, O_RDWR | O_CREAT}) {
        const auto error = refusalOfOpening(flags);
        ASSERT_TRUE(error.has_value()) << flags;
        EXPECT_EQ(error->code(), std::error_code(ELOOP, std::generic_category()));
        EXPECT_THAT(error->what(), HasSubstr(file().string() + ": it is a symbolic link"));
    }
    EXPECT_EQ(testing::contentsOf(target), "someone's data");
}

TEST_F(OwnedFileTests, ADanglingSymbolicLinkCreatesNothing) {
    const std::filesystem::path target = directory.path() / "target";
    std::filesystem::create_symlink(target, file());
    const auto error = refusalOfOpening(O_RDWR | O_CREAT);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ELOOP, std::generic_category()));
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(OwnedFileTests, AFIFOInTheFilesPlaceIsRefusedWithoutWaitingForAWriter) {
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    const auto error = refusalOfOpening(O_RDONLY);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr("it is not a regular file"));
}

TEST_F(OwnedFileTests, AFileOfAnotherUserIsRefusedAndClosed) {
    directory.write("file", "data");
    const std::size_t descriptors = testing::openDescriptorCount();
    const auto error = refusalOfOpening(O_RDONLY, me + 1);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr(file().string() + ": it belongs to user"));
    EXPECT_EQ(testing::openDescriptorCount(), descriptors);
}

TEST_F(OwnedFileTests, AMissingFileIsNothingOnlyWhereThatIsFine) {
    EXPECT_FALSE(OwnedFile::openIfExists(FileCalls::system(), file(), O_RDONLY, me).has_value());
    const auto error = refusalOfOpening(O_RDONLY);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ENOENT, std::generic_category()));
}

TEST_F(OwnedFileTests, AnExistingSymbolicLinkIsRefusedEvenWhereMissingIsFine) {
    std::filesystem::create_symlink(directory.write("target", "data"), file());
    const auto error = thrown<std::system_error>(
        [&] { OwnedFile::openIfExists(FileCalls::system(), file(), O_RDONLY, me); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ELOOP, std::generic_category()));
}

}  // namespace
}  // namespace tallowbeck
