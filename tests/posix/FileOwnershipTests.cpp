#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "TallowbeckCore/posix/FileOwnership.hpp"
#include "TallowbeckCore/posix/ForeignFolderError.hpp"
#include "tests/fakes/ForeignOwnerFileCalls.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;
using testing::thrown;
using Kind = FileAttributes::Kind;

const uid_t me = ::geteuid();
const uid_t someoneElse = me + 1;

FileAttributes attributesOf(Kind kind, uid_t owner, mode_t permissions) {
    return FileAttributes{.kind = kind, .owner = owner, .permissions = permissions};
}

// The refusal `check` throws: its code, and a message that names the file and the reason.
void expectRefusal(int code, const std::string& reason, auto&& check) {
    const auto error = thrown<std::system_error>(check);
    ASSERT_TRUE(error.has_value()) << "not refused: " << reason;
    EXPECT_EQ(error->code(), std::error_code(code, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr("refusing /some/file: " + reason));
}

TEST(FileOwnershipTests, AFolderMayBeCreatedInOneOfTheUsersOwnOrOfTheSuperusers) {
    constexpr uid_t superuser = 0;
    for (const uid_t owner : {someoneElse, superuser}) {
        EXPECT_NO_THROW(FileOwnership::requireFolderToCreateIn(
            attributesOf(Kind::directory, owner, 0755), someoneElse, "/some/folder/new"))
            << owner;
    }
    EXPECT_NO_THROW(FileOwnership::requireFolderToCreateIn(
        attributesOf(Kind::directory, superuser, 0755), superuser, "/some/folder/new"));
}

TEST(FileOwnershipTests, TheSuperuserCreatesNoFolderInAnotherUsersFolder) {
    const auto error = thrown<ForeignFolderError>([] {
        FileOwnership::requireFolderToCreateIn(attributesOf(Kind::directory, 1000, 0755), 0,
                                               "/home/alice/.local/share/new");
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_EQ(error->folder(), "/home/alice/.local/share/new");
    EXPECT_EQ(error->owner(), 1000U);
    EXPECT_THAT(error->what(), HasSubstr("refusing to create /home/alice/.local/share/new: "
                                         "/home/alice/.local/share belongs to user 1000, not to "
                                         "user 0"));
}

TEST(FileOwnershipTests, NoUserCreatesAFolderInAnotherUsersFolder) {
    EXPECT_TRUE(thrown<ForeignFolderError>([] {
        FileOwnership::requireFolderToCreateIn(attributesOf(Kind::directory, someoneElse, 0777), me,
                                               "/some/folder/new");
    }));
}

TEST(FileOwnershipTests, AUsersRegularFileIsAccepted) {
    EXPECT_NO_THROW(
        FileOwnership::requireUsersFile(attributesOf(Kind::regular, me, 0644), me, "/some/file"));
}

TEST(FileOwnershipTests, AFileIsRefusedUnlessItIsARegularOneOfTheUsersOwn) {
    expectRefusal(EPERM, "it belongs to user " + std::to_string(someoneElse), [] {
        FileOwnership::requireUsersFile(attributesOf(Kind::regular, someoneElse, 0600), me,
                                        "/some/file");
    });
    expectRefusal(ELOOP, "it is a symbolic link", [] {
        FileOwnership::requireUsersFile(attributesOf(Kind::symbolicLink, me, 0777), me,
                                        "/some/file");
    });
    expectRefusal(EPERM, "it is not a regular file", [] {
        FileOwnership::requireUsersFile(attributesOf(Kind::directory, me, 0700), me, "/some/file");
    });
    expectRefusal(EPERM, "it is not a regular file", [] {
        FileOwnership::requireUsersFile(attributesOf(Kind::other, me, 0600), me, "/some/file");
    });
}

TEST(FileOwnershipTests, APrivateDirectoryIsTheUsersOwnAndWritableByNoOneElse) {
    for (const mode_t permissions : {0700U, 0755U, 0500U, 01700U}) {
        EXPECT_NO_THROW(FileOwnership::requirePrivateDirectory(
            attributesOf(Kind::directory, me, static_cast<mode_t>(permissions)), me, "/some/file"))
            << permissions;
    }
    for (const mode_t permissions : {0720U, 0702U, 0777U, 01777U}) {
        expectRefusal(EPERM, "other users may write to it", [&] {
            FileOwnership::requirePrivateDirectory(
                attributesOf(Kind::directory, me, static_cast<mode_t>(permissions)), me,
                "/some/file");
        });
    }
    expectRefusal(EPERM, "it belongs to user " + std::to_string(someoneElse), [] {
        FileOwnership::requirePrivateDirectory(attributesOf(Kind::directory, someoneElse, 0700), me,
                                               "/some/file");
    });
    expectRefusal(ELOOP, "it is a symbolic link", [] {
        FileOwnership::requirePrivateDirectory(attributesOf(Kind::symbolicLink, me, 0777), me,
                                               "/some/file");
    });
    expectRefusal(EPERM, "it is not a directory", [] {
        FileOwnership::requirePrivateDirectory(attributesOf(Kind::regular, me, 0600), me,
                                               "/some/file");
    });
}

mode_t permissionsOf(const std::filesystem::path& path) {
    struct stat attributes {};
    EXPECT_EQ(::lstat(path.c_str(), &attributes), 0) << path;
    return attributes.st_mode & 07777;
}

class MakePrivateDirectoryTests : public ::testing::Test {
protected:
    std::filesystem::path folder() const { return directory.path() / "mine"; }

    std::optional<std::system_error> make(uid_t user = me) const {
        return thrown<std::system_error>(
            [&] { FileOwnership::makePrivateDirectory(FileCalls::system(), folder(), user); });
    }

    testing::TemporaryDirectory directory;
};

TEST_F(MakePrivateDirectoryTests, CreatesTheFolderForTheUserAlone) {
    EXPECT_FALSE(make().has_value());
    EXPECT_TRUE(std::filesystem::is_directory(folder()));
    EXPECT_EQ(permissionsOf(folder()), 0700U);
    EXPECT_FALSE(make().has_value()) << "a private folder of the user's own serves again";
}

TEST_F(MakePrivateDirectoryTests, RefusesAFolderOthersMayWriteToAndLeavesItAsItIs) {
    std::filesystem::create_directory(folder());
    ASSERT_EQ(::chmod(folder().c_str(), 0777), 0);
    const auto error = make();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr(folder().string() + ": other users may write to it"));
    EXPECT_EQ(permissionsOf(folder()), 0777U);
}

TEST_F(MakePrivateDirectoryTests, RefusesASymbolicLinkToAFolder) {
    const std::filesystem::path elsewhere = directory.path() / "elsewhere";
    std::filesystem::create_directory(elsewhere);
    ASSERT_EQ(::chmod(elsewhere.c_str(), 0700), 0);
    std::filesystem::create_directory_symlink(elsewhere, folder());
    const auto error = make();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ELOOP, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr(folder().string() + ": it is a symbolic link"));
}

TEST_F(MakePrivateDirectoryTests, RefusesAFileInTheFoldersPlace) {
    directory.write("mine", "planted");
    const auto error = make();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_EQ(testing::contentsOf(folder()), "planted");
}

TEST_F(MakePrivateDirectoryTests, RefusesAFolderOfAnotherUser) {
    // The folder found here belongs to this process's user, who is someone else to `someoneElse`.
    std::filesystem::create_directory(folder());
    ASSERT_EQ(::chmod(folder().c_str(), 0700), 0);
    const auto error = make(someoneElse);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr("it belongs to user " + std::to_string(me)));
}

TEST_F(MakePrivateDirectoryTests, CreatesNoFolderInAnotherUsersFolder) {
    testing::ForeignOwnerFileCalls calls(directory.path(), someoneElse);
    const auto error = thrown<ForeignFolderError>(
        [&] { FileOwnership::makePrivateDirectory(calls, folder(), me); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->folder(), folder());
    EXPECT_EQ(error->owner(), someoneElse);
    EXPECT_FALSE(std::filesystem::exists(folder()));
}

TEST_F(MakePrivateDirectoryTests, AMissingParentIsReported) {
    const auto error = thrown<std::system_error>([&] {
        FileOwnership::makePrivateDirectory(FileCalls::system(), directory.path() / "no" / "mine",
                                            me);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ENOENT, std::generic_category()));
}

}  // namespace
}  // namespace tallowbeck
