#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TallowbeckCore/history/CorruptJournalEntryError.hpp"
#include "TallowbeckCore/history/HistoryDecodingError.hpp"
#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "tests/fakes/FakeUserDirectories.hpp"
#include "tests/fakes/ForwardingFileCalls.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/LocalTimeZone.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::contentsOf;
using testing::listOf;
using testing::recordedAgain;
using testing::sampleAt;
using testing::thrown;

constexpr double now = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr double hour = 3600.0;
constexpr double day = 24 * hour;
constexpr std::int64_t week = 7;

std::size_t lineCount(const std::string& bytes) {
    return static_cast<std::size_t>(std::ranges::count(bytes, '\n'));
}

// Counts the files the store opens, to tell a read from a cached answer.
class CountingFileCalls final : public testing::ForwardingFileCalls {
public:
    int open(const char* path, int flags, mode_t mode) override {
        ++opens;
        return ForwardingFileCalls::open(path, flags, mode);
    }

    int opens = 0;
};

class TemperatureHistoryStoreTests : public ::testing::Test {
protected:
    std::filesystem::path file() const { return directory.path() / "history" / "h.json"; }
    HistoryFiles files() const { return HistoryFiles::beside(file()); }
    std::string journal() const { return contentsOf(files().journal); }
    std::string snapshot() const { return contentsOf(files().snapshot); }
    void writeJournal(const std::string& bytes) const {
        directory.write(std::filesystem::relative(files().journal, directory.path()), bytes);
    }
    void writeSnapshot(const std::vector<TemperatureSample>& samples) const {
        directory.write(std::filesystem::relative(files().snapshot, directory.path()),
                        HistoryFileFormat::encodeSnapshot(samples));
    }

    testing::LocalTimeZone zone{"UTC0"};
    testing::TemporaryDirectory directory;
};

TEST_F(TemperatureHistoryStoreTests, AFreshStoreOnNoFilesHasAnEmptyHistory) {
    TemperatureHistoryStore store(file());
    EXPECT_TRUE(store.samples().empty());
    EXPECT_FALSE(std::filesystem::exists(files().journal));
    EXPECT_FALSE(std::filesystem::exists(files().snapshot));
}

TEST_F(TemperatureHistoryStoreTests, TheFilesSitBesideTheGivenSnapshot) {
    const TemperatureHistoryStore store(file());
    EXPECT_EQ(store.fileURL(), file());
    EXPECT_EQ(files().journal, directory.path() / "history" / "h.json.journal");
    EXPECT_EQ(files().lock, directory.path() / "history" / "h.json.lock");
}

TEST_F(TemperatureHistoryStoreTests, TheLockFileIsPrivateToTheUser) {
    TemperatureHistoryStore store(file());
    store.samples();
    struct stat attributes {};
    ASSERT_EQ(::stat(files().lock.c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 0777, 0600U);
}

TEST_F(TemperatureHistoryStoreTests, AppendWritesOneSampleEntryAndReturnsTheHistory) {
    TemperatureHistoryStore store(file());
    const TemperatureSample sample = sampleAt(now);

    EXPECT_EQ(listOf(store.append(sample, week, now)), std::vector{sample});

    EXPECT_EQ(journal(), JournalEntry::sampleEntry(sample, now - 7 * day).line());
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), std::vector{sample});
}

TEST_F(TemperatureHistoryStoreTests, ARetentionOfZeroOrLessTrimsLikeOneDay) {
    const TemperatureSample justInside = sampleAt(now - day);
    const TemperatureSample justOutside = sampleAt(now - day - 1);
    const TemperatureSample twoDaysOld = sampleAt(now - 2 * day + 1);
    for (const std::int64_t retention : {1, 0, -5}) {
        testing::TemporaryDirectory scratch;
        TemperatureHistoryStore store(scratch.path() / "h.json");
        for (const TemperatureSample& old : {twoDaysOld, justOutside, justInside}) {
            store.append(old, 30, now);
        }
        const TemperatureSample latest = sampleAt(now);
        EXPECT_EQ(listOf(store.append(latest, retention, now)), (std::vector{justInside, latest}))
            << "retention " << retention;
    }
}

TEST_F(TemperatureHistoryStoreTests, ALongerRetentionKeepsMore) {
    TemperatureHistoryStore store(file());
    const TemperatureSample twoDaysOld = sampleAt(now - 2 * day + 1);
    store.append(twoDaysOld, 30, now);
    const TemperatureSample latest = sampleAt(now);
    EXPECT_EQ(listOf(store.append(latest, 2, now)), (std::vector{twoDaysOld, latest}));
}

TEST_F(TemperatureHistoryStoreTests, RetentionCountsLocalCalendarDays) {
    const testing::LocalTimeZone eastern("EST5EDT,M3.2.0,M11.1.0");
    constexpr double march10NoonEastern = 1710086400.0;  // a 23-hour day before it
    TemperatureHistoryStore store(file());
    const TemperatureSample kept = sampleAt(march10NoonEastern - 23 * hour);
    const TemperatureSample dropped = sampleAt(march10NoonEastern - 23 * hour - 1);
    store.append(dropped, 30, march10NoonEastern);
    store.append(kept, 30, march10NoonEastern);
    const TemperatureSample latest = sampleAt(march10NoonEastern);
    EXPECT_EQ(listOf(store.append(latest, 1, march10NoonEastern)), (std::vector{kept, latest}));
}

TEST_F(TemperatureHistoryStoreTests, AnOldSampleIsStillAddedAtTheEnd) {
    TemperatureHistoryStore store(file());
    const TemperatureSample recent = sampleAt(now);
    const TemperatureSample older = sampleAt(now - hour);
    store.append(recent, week, now);
    EXPECT_EQ(listOf(store.append(older, week, now)), (std::vector{recent, older}));
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), (std::vector{recent, older}));
}

TEST_F(TemperatureHistoryStoreTests, ARepeatedIDLeavesTheHistoryButGrowsTheJournal) {
    TemperatureHistoryStore store(file());
    const TemperatureSample sample = sampleAt(now - hour);
    store.append(sample, week, now);

    const std::vector<TemperatureSample> history =
        listOf(store.append(recordedAgain(sample, now), week, now));

    EXPECT_EQ(history, std::vector{sample});
    EXPECT_EQ(lineCount(journal()), 2U);
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), std::vector{sample});
}

TEST_F(TemperatureHistoryStoreTests, TheIDOfATrimmedSampleDoesNotCount) {
    TemperatureHistoryStore store(file());
    const TemperatureSample expired = sampleAt(now - 10 * day);
    store.append(expired, 30, now);
    const TemperatureSample renewed = recordedAgain(expired, now);
    EXPECT_EQ(listOf(store.append(renewed, week, now)), std::vector{renewed});
}

TEST_F(TemperatureHistoryStoreTests, The1440thEntryIsWrittenWithoutCompactingAndTheNextCompacts) {
    std::string bytes;
    std::vector<TemperatureSample> expected;
    for (int index = 0; index < 1439; ++index) {
        expected.push_back(sampleAt(now - 1439 + index));
        bytes += JournalEntry::sampleEntry(expected.back(), now - day).line();
    }
    writeJournal(bytes);
    TemperatureHistoryStore store(file());

    expected.push_back(sampleAt(now));
    store.append(expected.back(), week, now);
    EXPECT_EQ(lineCount(journal()), 1440U);
    EXPECT_FALSE(std::filesystem::exists(files().snapshot));

    const TemperatureSample next = sampleAt(now + 1);
    store.append(next, week, now + 1);
    EXPECT_EQ(journal(), JournalEntry::sampleEntry(next, now + 1 - 7 * day).line());
    EXPECT_EQ(HistoryFileFormat::decodeSnapshot(snapshot()), expected);
    expected.push_back(next);
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), expected);
}

TEST_F(TemperatureHistoryStoreTests, CompactionWritesTheHistoryBeforeTheNewCutoff) {
    const TemperatureSample old = sampleAt(now - 3 * day);
    std::string bytes = JournalEntry::sampleEntry(old, now - 30 * day).line();
    for (int index = 1; index < 1440; ++index) {
        bytes += JournalEntry::sampleEntry(sampleAt(now - index), now - 30 * day).line();
    }
    writeJournal(bytes);
    TemperatureHistoryStore store(file());

    const std::vector<TemperatureSample> history = listOf(store.append(sampleAt(now), 1, now));

    const std::vector<TemperatureSample> compacted = HistoryFileFormat::decodeSnapshot(snapshot());
    ASSERT_EQ(compacted.size(), 1440U);
    EXPECT_EQ(compacted.front(), old);
    EXPECT_EQ(history.size(), 1440U);
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), history);
}

TEST_F(TemperatureHistoryStoreTests, AnotherProcessesAppendIsSeenByTheNextRead) {
    TemperatureHistoryStore store(file());
    const TemperatureSample mine = sampleAt(now);
    store.append(mine, week, now);
    const TemperatureSample foreign = sampleAt(now + 1);

    testing::ChildProcess child = testing::ChildProcess::fork([&] {
        TemperatureHistoryStore(file()).append(foreign, week, now + 1);
        return 0;
    });
    ASSERT_EQ(child.waitForExit().shellStatus(), 0);

    EXPECT_EQ(listOf(store.samples()), (std::vector{mine, foreign}));
    // The foreign entry's length counts: this store's next line goes after it.
    const TemperatureSample third = sampleAt(now + 2);
    store.append(third, week, now + 2);
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()),
              (std::vector{mine, foreign, third}));
}

TEST_F(TemperatureHistoryStoreTests, ASecondStoreOnTheSameFilesCountsAsAnotherWriter) {
    TemperatureHistoryStore first(file());
    TemperatureHistoryStore second(file());
    const TemperatureSample a = sampleAt(now);
    const TemperatureSample b = sampleAt(now + 1);
    first.append(a, week, now);
    second.append(b, week, now + 1);
    EXPECT_EQ(listOf(first.samples()), (std::vector{a, b}));
    first.reset();
    EXPECT_TRUE(second.samples().empty());
}

TEST_F(TemperatureHistoryStoreTests, AnUnchangedHistoryIsAnsweredFromTheCache) {
    CountingFileCalls calls;
    TemperatureHistoryStore store(file(), calls);
    store.append(sampleAt(now), week, now);
    calls.opens = 0;
    EXPECT_EQ(store.samples().size(), 1U);
    EXPECT_EQ(calls.opens, 1);  // the lock file only
    const TemperatureSample sample = sampleAt(now + 1);
    TemperatureHistoryStore(file()).append(sample, week, now + 1);
    calls.opens = 0;
    EXPECT_EQ(store.samples().size(), 2U);
    EXPECT_EQ(calls.opens, 3);  // lock, journal, snapshot
}

TEST_F(TemperatureHistoryStoreTests, ARenameOverTheSnapshotIsSeenEvenAtTheSameSize) {
    const TemperatureSample a = sampleAt(now);
    writeSnapshot({a});
    TemperatureHistoryStore store(file());
    EXPECT_EQ(listOf(store.samples()), std::vector{a});

    const TemperatureSample b = recordedAgain(sampleAt(now), now);  // same length of text
    const std::filesystem::path replacement = directory.write("replacement.json", "");
    directory.write("replacement.json", HistoryFileFormat::encodeSnapshot(std::vector{b}));
    const std::filesystem::file_time_type modified = std::filesystem::last_write_time(file());
    std::filesystem::last_write_time(replacement, modified);
    std::filesystem::rename(replacement, file());

    EXPECT_EQ(listOf(store.samples()), std::vector{b});
}

TEST_F(TemperatureHistoryStoreTests, TheNextAppendOverwritesAPartialLastLine) {
    TemperatureHistoryStore store(file());
    const TemperatureSample first = sampleAt(now);
    store.append(first, week, now);
    const std::string complete = journal();
    writeJournal(complete + JournalEntry::sampleEntry(sampleAt(now), now).line().substr(0, 30));

    const TemperatureSample second = sampleAt(now + 1);
    store.append(second, week, now + 1);

    EXPECT_EQ(journal(), complete + JournalEntry::sampleEntry(second, now + 1 - 7 * day).line());
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), (std::vector{first, second}));
}

TEST_F(TemperatureHistoryStoreTests, APartialLastLineLongerThanTheNextLeavesNothingBehind) {
    TemperatureHistoryStore store(file());
    store.append(sampleAt(now), week, now);
    const std::string complete = journal();
    const std::string partial = JournalEntry::sampleEntry(sampleAt(now), now).line();
    writeJournal(complete + partial.substr(0, partial.size() - 2));

    const TemperatureSample shorter = sampleAt(now + 1, std::nullopt);
    const std::string line = JournalEntry::sampleEntry(shorter, now + 1 - 7 * day).line();
    ASSERT_LT(line.size(), partial.size() - 2);
    store.append(shorter, week, now + 1);

    EXPECT_EQ(journal(), complete + line);
}

TEST_F(TemperatureHistoryStoreTests, ResetEmptiesTheHistoryWithoutReadingTheOldSnapshot) {
    directory.write(std::filesystem::relative(files().snapshot, directory.path()), "not JSON");
    TemperatureHistoryStore store(file());

    store.reset();

    EXPECT_TRUE(store.samples().empty());
    EXPECT_TRUE(TemperatureHistoryStore(file()).samples().empty());
    EXPECT_EQ(journal(), "{\"reset\":true}\n");
    EXPECT_EQ(snapshot(), "not JSON");
}

TEST_F(TemperatureHistoryStoreTests, AfterAResetAppendsStartAFreshHistory) {
    TemperatureHistoryStore store(file());
    store.append(sampleAt(now), week, now);
    store.reset();
    const TemperatureSample sample = sampleAt(now + 1);
    EXPECT_EQ(listOf(store.append(sample, week, now + 1)), std::vector{sample});
    EXPECT_EQ(lineCount(journal()), 2U);
    EXPECT_EQ(listOf(TemperatureHistoryStore(file()).samples()), std::vector{sample});
}

TEST_F(TemperatureHistoryStoreTests, ACorruptJournalFailsEveryOperationButResetAndIsLeftAsItIs) {
    const std::string corrupt =
        JournalEntry::sampleEntry(sampleAt(now), now).line() + "{\"reset\":false}\n";
    writeJournal(corrupt);
    writeSnapshot({sampleAt(now - hour)});
    const std::string snapshotBefore = snapshot();
    TemperatureHistoryStore store(file());

    EXPECT_TRUE(thrown<CorruptJournalEntryError>([&] { store.samples(); }));
    EXPECT_TRUE(thrown<CorruptJournalEntryError>([&] { store.append(sampleAt(now), week, now); }));
    EXPECT_TRUE(thrown<CorruptJournalEntryError>([&] { store.samples(); }));
    EXPECT_EQ(journal(), corrupt);
    EXPECT_EQ(snapshot(), snapshotBefore);

    store.reset();
    const TemperatureSample sample = sampleAt(now);
    EXPECT_EQ(listOf(store.append(sample, week, now)), std::vector{sample});
}

TEST_F(TemperatureHistoryStoreTests, AnUndecodableSnapshotFailsWithTheDecoderError) {
    directory.write(std::filesystem::relative(files().snapshot, directory.path()), "[{}]");
    TemperatureHistoryStore store(file());
    const auto error = thrown<HistoryDecodingError>([&] { store.samples(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->key(), "id");
    EXPECT_EQ(snapshot(), "[{}]");
}

TEST_F(TemperatureHistoryStoreTests, AFixedHistoryIsReadAgainAfterAFailure) {
    writeJournal("garbage\n");
    TemperatureHistoryStore store(file());
    EXPECT_TRUE(thrown<HistoryDecodingError>([&] { store.samples(); }));
    const TemperatureSample sample = sampleAt(now);
    writeJournal(JournalEntry::sampleEntry(sample, now - day).line());
    EXPECT_EQ(listOf(store.samples()), std::vector{sample});
}

TEST_F(TemperatureHistoryStoreTests, ASampleThatCannotBeWrittenChangesNothing) {
    TemperatureHistoryStore store(file());
    const TemperatureSample kept = sampleAt(now);
    store.append(kept, week, now);
    const std::string before = journal();
    EXPECT_TRUE(thrown<std::out_of_range>([&] { store.append(sampleAt(1e20), week, now); }));
    EXPECT_EQ(journal(), before);
    EXPECT_EQ(listOf(store.samples()), std::vector{kept});
}

TEST_F(TemperatureHistoryStoreTests, ADirectoryThatCannotBeCreatedIsReported) {
    directory.write("blocker", "a file where a folder should be");
    TemperatureHistoryStore store(directory.path() / "blocker" / "h.json");
    const auto error = thrown<std::system_error>([&] { store.samples(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::error_code(ENOTDIR, std::generic_category()));
}

class DefaultHistoryTests : public ::testing::Test {
protected:
    std::filesystem::path support() const { return directory.path() / "support"; }
    std::filesystem::path target() const {
        return support() / "com.tallowbeck.Ordwell" / "temperature-history.json";
    }
    std::filesystem::path legacy(const char* folder) const {
        return support() / folder / "temperature-history.json";
    }
    void writeLegacy(const char* folder, const std::vector<TemperatureSample>& samples) const {
        directory.write(std::filesystem::relative(legacy(folder), directory.path()),
                        HistoryFileFormat::encodeSnapshot(samples));
    }

    testing::TemporaryDirectory directory;
    FakeUserDirectories directories{support(), directory.path() / "tmp"};
};

TEST_F(DefaultHistoryTests, TheDefaultFileIsBelowApplicationSupport) {
    EXPECT_EQ(TemperatureHistoryStore::defaultFileURL(directories), target());
    const TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);
    EXPECT_EQ(store.fileURL(), target());
}

TEST_F(DefaultHistoryTests, WithoutApplicationSupportAFolderOfTheUsersOwnInTheTemporaryOneServes) {
    const FakeUserDirectories noSupport(std::nullopt, directory.path() / "tmp");
    EXPECT_EQ(TemperatureHistoryStore::defaultFileURL(noSupport, 1234),
              directory.path() / "tmp" / "com.tallowbeck-1234" / "com.tallowbeck.Ordwell" /
                  "temperature-history.json");
}

TEST_F(DefaultHistoryTests, TheFirstLegacyHistoryIsCopiedAndLeftInPlace) {
    const std::vector<TemperatureSample> first = {sampleAt(now)};
    writeLegacy("com.tallowbeck.Brindlecove", first);
    writeLegacy("com.tallowbeck.Tallowbeck", {sampleAt(now - hour)});

    TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);

    EXPECT_EQ(listOf(store.samples()), first);
    EXPECT_TRUE(std::filesystem::exists(legacy("com.tallowbeck.Brindlecove")));
    EXPECT_FALSE(std::filesystem::exists(HistoryFiles::beside(target()).journal));
}

TEST_F(DefaultHistoryTests, TheSecondLegacyHistoryServesWhenTheFirstIsMissing) {
    const std::vector<TemperatureSample> second = {sampleAt(now - hour)};
    writeLegacy("com.tallowbeck.Tallowbeck", second);
    TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);
    EXPECT_EQ(listOf(store.samples()), second);
}

TEST_F(DefaultHistoryTests, NothingIsCopiedOverAnExistingJournal) {
    writeLegacy("com.tallowbeck.Brindlecove", {sampleAt(now)});
    directory.write(
        std::filesystem::relative(HistoryFiles::beside(target()).journal, directory.path()), "");
    TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_TRUE(store.samples().empty());
}

TEST_F(DefaultHistoryTests, NothingIsCopiedOverAnExistingSnapshot) {
    const std::vector<TemperatureSample> current = {sampleAt(now)};
    directory.write(std::filesystem::relative(target(), directory.path()),
                    HistoryFileFormat::encodeSnapshot(current));
    writeLegacy("com.tallowbeck.Brindlecove", {sampleAt(now - hour)});
    TemperatureHistoryStore store(std::nullopt, FileCalls::system(), directories);
    EXPECT_EQ(listOf(store.samples()), current);
}

TEST_F(DefaultHistoryTests, AGivenPathAdoptsNothing) {
    writeLegacy("com.tallowbeck.Brindlecove", {sampleAt(now)});
    TemperatureHistoryStore store(target(), FileCalls::system(), directories);
    EXPECT_TRUE(store.samples().empty());
    EXPECT_FALSE(std::filesystem::exists(target()));
}

}  // namespace
}  // namespace tallowbeck
