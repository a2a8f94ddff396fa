// A history in a folder that other users may write to: whatever they plant there under the
// names of the history's files is refused, and nothing outside the history is touched.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/posix/ForeignFolderError.hpp"
#include "tests/fakes/FakeUserDirectories.hpp"
#include "tests/fakes/ForeignOwnerFileCalls.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::contentsOf;
using ::testing::HasSubstr;
using testing::listOf;
using testing::sampleAt;
using testing::thrown;

constexpr double now = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr std::int64_t week = 7;
// No line feed: read as a journal it holds no entry, so a writer would cut it to nothing.
constexpr std::string_view victimBytes = "a file the user never meant to give the history";

const uid_t me = ::geteuid();

using Operation = std::function<void(TemperatureHistoryStore&)>;

const std::vector<std::pair<std::string, Operation>> operations = {
    {"samples", [](TemperatureHistoryStore& store) { store.samples(); }},
    {"append", [](TemperatureHistoryStore& store) { store.append(sampleAt(now), week, now); }},
    {"reset", [](TemperatureHistoryStore& store) { store.reset(); }},
};

mode_t permissionsOf(const std::filesystem::path& path) {
    struct stat attributes {};
    EXPECT_EQ(::lstat(path.c_str(), &attributes), 0) << path;
    return attributes.st_mode & 07777;
}

class HistorySecurityTests : public ::testing::Test {
protected:
    std::filesystem::path file() const { return directory.path() / "shared" / "h.json"; }
    HistoryFiles files() const { return HistoryFiles::beside(file()); }

    // A file of someone else's, outside the history's folder.
    std::filesystem::path victim() const {
        return directory.write("elsewhere/victim", victimBytes);
    }

    void plantLink(const std::filesystem::path& at, const std::filesystem::path& target) const {
        std::filesystem::create_directories(at.parent_path());
        std::filesystem::create_symlink(target, at);
    }

    void expectRefused(const std::optional<std::system_error>& error, int code,
                       const std::filesystem::path& path, const std::string& reason) const {
        ASSERT_TRUE(error.has_value()) << "not refused";
        EXPECT_EQ(error->code(), std::error_code(code, std::generic_category()));
        EXPECT_THAT(error->what(), HasSubstr("refusing " + path.string() + ": " + reason));
    }

    // Each operation, on a store of its own, refuses `path`. A reset only reads the lock file.
    void expectEveryOperationRefused(const std::filesystem::path& path, int code,
                                     const std::string& reason,
                                     FileCalls& calls = FileCalls::system()) const {
        for (const auto& [name, operation] : operations) {
            if (name == "reset" && path != files().lock) {
                continue;
            }
            SCOPED_TRACE(name);
            TemperatureHistoryStore store(file(), calls);
            const Operation& run = operation;
            expectRefused(thrown<std::system_error>([&] { run(store); }), code, path, reason);
        }
    }

    testing::TemporaryDirectory directory;
};

TEST_F(HistorySecurityTests, AJournalLinkedToAnotherFileIsRefusedAndTheFileLeftAsItWas) {
    const std::filesystem::path target = victim();
    plantLink(files().journal, target);
    expectEveryOperationRefused(files().journal, ELOOP, "it is a symbolic link");
    EXPECT_EQ(contentsOf(target), victimBytes);
}

TEST_F(HistorySecurityTests, AResetReplacesALinkedJournalInsteadOfWritingThroughIt) {
    const std::filesystem::path target = victim();
    plantLink(files().journal, target);
    TemperatureHistoryStore store(file());
    store.reset();
    EXPECT_FALSE(std::filesystem::is_symlink(files().journal));
    EXPECT_EQ(contentsOf(files().journal), JournalEntry::resetEntry().line());
    EXPECT_EQ(contentsOf(target), victimBytes);
}

TEST_F(HistorySecurityTests, ALockFileLinkedToAnotherFileIsRefusedByEveryOperation) {
    const std::filesystem::path target = victim();
    plantLink(files().lock, target);
    expectEveryOperationRefused(files().lock, ELOOP, "it is a symbolic link");
    EXPECT_EQ(contentsOf(target), victimBytes);
    EXPECT_FALSE(std::filesystem::exists(files().journal));
}

TEST_F(HistorySecurityTests, ALockFileLinkedToNothingCreatesNothing) {
    const std::filesystem::path target = directory.path() / "elsewhere" / "new";
    std::filesystem::create_directories(target.parent_path());
    plantLink(files().lock, target);
    TemperatureHistoryStore store(file());
    expectRefused(thrown<std::system_error>([&] { store.append(sampleAt(now), week, now); }), ELOOP,
                  files().lock, "it is a symbolic link");
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(HistorySecurityTests, ASnapshotLinkedToAnotherFileIsNeverRead) {
    const std::vector<TemperatureSample> planted = {sampleAt(now - 1)};
    const std::filesystem::path target =
        directory.write("elsewhere/history", HistoryFileFormat::encodeSnapshot(planted));
    const std::string before = contentsOf(target);
    plantLink(files().snapshot, target);
    expectEveryOperationRefused(files().snapshot, ELOOP, "it is a symbolic link");
    EXPECT_EQ(contentsOf(target), before);
}

TEST_F(HistorySecurityTests, AFIFOInTheJournalsPlaceIsRefusedAtOnce) {
    std::filesystem::create_directories(file().parent_path());
    ASSERT_EQ(::mkfifo(files().journal.c_str(), 0600), 0);
    TemperatureHistoryStore store(file());
    expectRefused(thrown<std::system_error>([&] { store.samples(); }), EPERM, files().journal,
                  "it is not a regular file");
}

TEST_F(HistorySecurityTests, AHistoryFileOfAnotherUserIsRefusedAndLeftAsItWas) {
    TemperatureHistoryStore(file()).append(sampleAt(now - 1), week, now);
    directory.write(std::filesystem::relative(files().snapshot, directory.path()),
                    HistoryFileFormat::encodeSnapshot(std::vector{sampleAt(now - 2)}));
    const std::string journalBefore = contentsOf(files().journal);
    const std::string snapshotBefore = contentsOf(files().snapshot);

    for (const std::filesystem::path& claimed : {files().journal, files().lock, files().snapshot}) {
        SCOPED_TRACE(claimed.string());
        testing::ForeignOwnerFileCalls calls(claimed, me + 1);
        expectEveryOperationRefused(claimed, EPERM, "it belongs to user " + std::to_string(me + 1),
                                    calls);
        EXPECT_EQ(contentsOf(files().journal), journalBefore);
        EXPECT_EQ(contentsOf(files().snapshot), snapshotBefore);
    }
}

TEST_F(HistorySecurityTests, TheJournalAndSnapshotArePrivateToTheUser) {
    std::string full;
    for (int index = 0; index < 1440; ++index) {
        full += JournalEntry::sampleEntry(sampleAt(now - 2000 + index), now - 7 * 86400.0).line();
    }
    directory.write(std::filesystem::relative(files().journal, directory.path()), full);
    ASSERT_EQ(::chmod(files().journal.c_str(), 0644), 0);
    TemperatureHistoryStore store(file());
    store.append(sampleAt(now), week, now);  // compacts
    EXPECT_EQ(permissionsOf(files().snapshot), 0600U);
    EXPECT_EQ(permissionsOf(files().journal), 0600U);
    store.reset();
    EXPECT_EQ(permissionsOf(files().journal), 0600U);
    EXPECT_EQ(permissionsOf(files().lock), 0600U);
}

// Whoever may open the lock file may also take the lock, and hold up every operation for as long
// as they hold it.
TEST_F(HistorySecurityTests, ALockFileOthersMayOpenIsMadePrivateByEveryOperation) {
    TemperatureHistoryStore(file()).append(sampleAt(now - 1), week, now);
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        ASSERT_EQ(::chmod(files().lock.c_str(), 0644), 0);
        TemperatureHistoryStore store(file());
        operation(store);
        EXPECT_EQ(permissionsOf(files().lock), 0600U);
    }
}

TEST_F(HistorySecurityTests, ALockFileOfAnotherUserKeepsItsMode) {
    TemperatureHistoryStore(file()).append(sampleAt(now - 1), week, now);
    ASSERT_EQ(::chmod(files().lock.c_str(), 0644), 0);
    testing::ForeignOwnerFileCalls calls(files().lock, me + 1);
    expectEveryOperationRefused(files().lock, EPERM, "it belongs to user " + std::to_string(me + 1),
                                calls);
    EXPECT_EQ(permissionsOf(files().lock), 0644U);
}

// The superuser handed another user's home folder (sudo -E) would leave that user a history
// folder they could neither use nor remove.
TEST_F(HistorySecurityTests, NoFolderIsCreatedInAnotherUsersFolder) {
    const std::filesystem::path theirs = directory.path() / "theirs";
    std::filesystem::create_directories(theirs);
    testing::ForeignOwnerFileCalls calls(theirs, me + 1);
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        TemperatureHistoryStore store(theirs / "history" / "h.json", calls);
        const auto error = thrown<ForeignFolderError>([&store, &run = operation] { run(store); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->folder(), theirs / "history");
        EXPECT_EQ(error->owner(), me + 1);
        EXPECT_TRUE(std::filesystem::is_empty(theirs));
    }
}

TEST_F(HistorySecurityTests, FoldersAreCreatedBelowTheUsersOwnFolder) {
    const std::filesystem::path mine = directory.path() / "mine";
    std::filesystem::create_directories(mine);
    // Only the folder above the ones to create counts.
    testing::ForeignOwnerFileCalls calls(directory.path(), me + 1);
    TemperatureHistoryStore store(mine / "deeper" / "history" / "h.json", calls);
    const TemperatureSample sample = sampleAt(now);
    store.append(sample, week, now);
    EXPECT_EQ(listOf(store.samples()), std::vector{sample});
}

// Without application support the history goes to the temporary directory, which every user may
// write to: into a folder of the user's own there.
class TemporaryHistoryTests : public ::testing::Test {
protected:
    TemporaryHistoryTests() { std::filesystem::create_directories(temporary()); }

    std::filesystem::path temporary() const { return directory.path() / "tmp"; }
    std::filesystem::path privateFolder(uid_t user = me) const {
        return temporary() / ("com.tallowbeck-" + std::to_string(user));
    }

    std::optional<std::system_error> refusalOfFirstAppend(uid_t user = me) const {
        TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories, user);
        return thrown<std::system_error>([&] { store.append(sampleAt(now), week, now); });
    }

    void expectRefused(const std::optional<std::system_error>& error, int code,
                       const std::string& reason) const {
        ASSERT_TRUE(error.has_value()) << "not refused";
        EXPECT_EQ(error->code(), std::error_code(code, std::generic_category()));
        EXPECT_THAT(error->what(),
                    HasSubstr("refusing " + privateFolder().string() + ": " + reason));
    }

    testing::TemporaryDirectory directory;
    FakeUserDirectories directories{std::nullopt, temporary()};
};

TEST_F(TemporaryHistoryTests, TheHistoryLiesInAFolderOnlyTheUserMayEnter) {
    ASSERT_EQ(::chmod(temporary().c_str(), 01777), 0);
    TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);
    EXPECT_EQ(store.fileURL(),
              privateFolder() / "com.tallowbeck.Ordwell" / "temperature-history.json");
    const TemperatureSample sample = sampleAt(now);
    store.append(sample, week, now);
    EXPECT_EQ(permissionsOf(privateFolder()), 0700U);
    EXPECT_EQ(
        listOf(TemperatureHistoryStore(std::nullopt, FileCalls::system(), directories).samples()),
        std::vector{sample});
}

TEST_F(TemporaryHistoryTests, AFolderOthersMayWriteToIsRefusedAndNothingIsWrittenInIt) {
    std::filesystem::create_directories(privateFolder());
    ASSERT_EQ(::chmod(privateFolder().c_str(), 0777), 0);
    expectRefused(refusalOfFirstAppend(), EPERM, "other users may write to it");
    EXPECT_TRUE(std::filesystem::is_empty(privateFolder()));
}

TEST_F(TemporaryHistoryTests, ALinkPlantedAsTheFolderIsRefusedAndNothingIsWrittenWhereItLeads) {
    const std::filesystem::path elsewhere = directory.path() / "elsewhere";
    std::filesystem::create_directories(elsewhere);
    ASSERT_EQ(::chmod(elsewhere.c_str(), 0700), 0);
    std::filesystem::create_directory_symlink(elsewhere, privateFolder());
    expectRefused(refusalOfFirstAppend(), ELOOP, "it is a symbolic link");
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

TEST_F(TemporaryHistoryTests, AFileInTheFoldersPlaceIsRefused) {
    directory.write("tmp/com.tallowbeck-" + std::to_string(me), "planted");
    expectRefused(refusalOfFirstAppend(), EPERM, "it is not a directory");
}

TEST_F(TemporaryHistoryTests, AFolderOfAnotherUserIsRefused) {
    // Made by this process, the folder belongs to someone else as far as `me + 1` is concerned.
    std::filesystem::create_directories(privateFolder(me + 1));
    ASSERT_EQ(::chmod(privateFolder(me + 1).c_str(), 0700), 0);
    const auto error = refusalOfFirstAppend(me + 1);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(EPERM, std::generic_category()));
    EXPECT_THAT(error->what(), HasSubstr("refusing " + privateFolder(me + 1).string() +
                                         ": it belongs to user " + std::to_string(me)));
    EXPECT_TRUE(std::filesystem::is_empty(privateFolder(me + 1)));
}

TEST_F(TemporaryHistoryTests, NoFolderIsCreatedInATemporaryFolderOfAnotherUser) {
    testing::ForeignOwnerFileCalls calls(temporary(), me + 1);
    TemperatureHistoryStore store(std::nullopt, calls, directories);
    const auto error = thrown<ForeignFolderError>([&] { store.append(sampleAt(now), week, now); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->folder(), privateFolder());
    EXPECT_FALSE(std::filesystem::exists(privateFolder()));
}

}  // namespace
}  // namespace tallowbeck
