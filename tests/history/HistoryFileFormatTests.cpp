#include <gtest/gtest.h>
#include <simdjson.h>

#include <string>
#include <vector>

#include "TallowbeckCore/history/CorruptJournalEntryError.hpp"
#include "TallowbeckCore/history/HistoryDecodingError.hpp"
#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using namespace std::string_literals;

using testing::recordedAgain;
using testing::sampleAt;
using testing::thrown;

constexpr double noon = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr double hour = 3600.0;

std::string sampleLine(const TemperatureSample& sample, double cutoff) {
    return JournalEntry::sampleEntry(sample, cutoff).line();
}

std::string resetLine() { return JournalEntry::resetEntry().line(); }

std::vector<UUID> idsOf(const std::vector<TemperatureSample>& samples) {
    std::vector<UUID> ids;
    for (const TemperatureSample& sample : samples) {
        ids.push_back(sample.id());
    }
    return ids;
}

// The history that a reader builds from the two files' bytes.
std::vector<TemperatureSample> historyOf(const std::string& journalBytes,
                                         const std::vector<TemperatureSample>& snapshot) {
    const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal(journalBytes);
    return HistoryFileFormat::fold(
        journal.containsReset() ? std::vector<TemperatureSample>{} : snapshot, journal.entries);
}

TEST(JournalEntryTests, WritesTheSampleEntryCompactlyWithItsCutoffAndOneLineFeed) {
    const TemperatureSample sample = sampleAt(noon);
    EXPECT_EQ(sampleLine(sample, noon - 24 * hour),
              "{\"sample\":"s + sample.json() + ",\"cutoff\":\"2024-04-23T12:00:00Z\"}\n");
}

TEST(JournalEntryTests, WritesTheResetEntryAsResetTrueAlone) {
    EXPECT_EQ(resetLine(), "{\"reset\":true}\n");
}

TEST(JournalEntryTests, OnlyTheTwoShapesAreValid) {
    const TemperatureSample sample = sampleAt(noon);
    EXPECT_TRUE(JournalEntry::sampleEntry(sample, noon).isSampleEntry());
    EXPECT_TRUE(JournalEntry::resetEntry().isResetEntry());
    const std::vector<JournalEntry> invalid = {
        {.sample = std::nullopt, .cutoff = std::nullopt, .reset = false},
        {.sample = sample, .cutoff = noon, .reset = true},
        {.sample = std::nullopt, .cutoff = noon, .reset = true},
        {.sample = sample, .cutoff = std::nullopt, .reset = std::nullopt},
        {.sample = std::nullopt, .cutoff = noon, .reset = std::nullopt},
        {.sample = std::nullopt, .cutoff = std::nullopt, .reset = std::nullopt},
        {.sample = sample, .cutoff = noon, .reset = false},
    };
    for (const JournalEntry& entry : invalid) {
        EXPECT_FALSE(entry.isSampleEntry() || entry.isResetEntry()) << entry.line();
    }
}

TEST(HistoryFileFormatTests, EveryInvalidShapeMakesTheJournalCorrupt) {
    const std::string sampleJSON = sampleAt(noon).json();
    const std::vector<std::string> corrupt = {
        "{\"reset\":false}",
        "{\"reset\":true,\"sample\":"s + sampleJSON + "}",
        "{\"reset\":true,\"cutoff\":\"2024-04-24T12:00:00Z\"}",
        "{\"sample\":"s + sampleJSON + "}",
        "{\"cutoff\":\"2024-04-24T12:00:00Z\"}",
        "{}",
    };
    for (const std::string& line : corrupt) {
        const std::string journal = sampleLine(sampleAt(noon), noon) + line + "\n";
        const auto error =
            thrown<CorruptJournalEntryError>([&] { HistoryFileFormat::decodeJournal(journal); });
        ASSERT_TRUE(error.has_value()) << line;
        EXPECT_EQ(error->lineNumber(), 2U);
    }
}

TEST(HistoryFileFormatTests, AResetFalseLineFailsTheWholeReadWithTheCorruptFileError) {
    const std::string journal = sampleLine(sampleAt(noon), noon) + "{\"reset\":false}\n";
    EXPECT_TRUE(
        thrown<CorruptJournalEntryError>([&] { HistoryFileFormat::decodeJournal(journal); }));
}

TEST(HistoryFileFormatTests, AnUndecodableLineWinsOverAnEarlierEntryOfTheWrongShape) {
    const std::string journal = "{}\nnot json\n";
    const auto error =
        thrown<HistoryDecodingError>([&] { HistoryFileFormat::decodeJournal(journal); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->lineNumber(), 2U);
}

TEST(HistoryFileFormatTests, AnUndecodableLineFailsWithTheDecoderErrorCarryingTheLine) {
    const TemperatureSample sample = sampleAt(noon);
    const std::string badLine =
        "{\"sample\":{\"id\":\"nope\"},\"cutoff\":\"2024-04-24T12:00:00Z\"}";
    const std::string journal = sampleLine(sample, noon) + badLine + "\n";
    const auto error =
        thrown<HistoryDecodingError>([&] { HistoryFileFormat::decodeJournal(journal); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->lineNumber(), 2U);
    EXPECT_EQ(error->line(), badLine);
    EXPECT_EQ(error->key(), "id");
    EXPECT_STREQ(error->what(), "journal line 2: \"id\": not a UUID");
}

TEST(HistoryFileFormatTests, AnEmptyLineIsDecodedAndFails) {
    const std::string journal =
        sampleLine(sampleAt(noon), noon) + "\n" + sampleLine(sampleAt(noon), noon);
    const auto error =
        thrown<HistoryDecodingError>([&] { HistoryFileFormat::decodeJournal(journal); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->lineNumber(), 2U);
    EXPECT_EQ(error->line(), "");
    EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted);
}

TEST(HistoryFileFormatTests, APartialLastLineCountsForNothing) {
    const TemperatureSample kept = sampleAt(noon);
    const std::string whole = sampleLine(kept, noon - hour);
    const std::string partial = sampleLine(sampleAt(noon), noon).substr(0, 40);

    const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal(whole + partial);

    EXPECT_EQ(journal.entries, HistoryFileFormat::decodeJournal(whole).entries);
    EXPECT_EQ(journal.validLength, whole.size());
    EXPECT_EQ(idsOf(historyOf(whole + partial, {})), std::vector<UUID>{kept.id()});
}

TEST(HistoryFileFormatTests, BytesWithoutAnyLineFeedHaveAValidLengthOfZero) {
    const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal("{\"reset\":tr");
    EXPECT_TRUE(journal.entries.empty());
    EXPECT_EQ(journal.validLength, 0U);
}

TEST(HistoryFileFormatTests, AnEmptyJournalAndNoSnapshotAreAnEmptyHistory) {
    const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal("");
    EXPECT_TRUE(journal.entries.empty());
    EXPECT_EQ(journal.validLength, 0U);
    EXPECT_TRUE(HistoryFileFormat::fold({}, journal.entries).empty());
}

TEST(HistoryFileFormatTests, AResetVoidsTheSnapshotAndEverythingWrittenBeforeIt) {
    std::vector<TemperatureSample> snapshot;
    for (int index = 0; index < 100; ++index) {
        snapshot.push_back(sampleAt(noon - hour + index));
    }
    const TemperatureSample afterReset = sampleAt(noon);
    const std::string journal = sampleLine(sampleAt(noon), noon - hour) + resetLine() +
                                sampleLine(afterReset, noon - 24 * hour);

    EXPECT_EQ(idsOf(historyOf(journal, snapshot)), std::vector<UUID>{afterReset.id()});
}

TEST(HistoryFileFormatTests, ASampleIsJudgedOnlyByCutoffsWrittenAfterIt) {
    const double t1 = noon - 2 * hour;
    const double t2 = noon;
    const TemperatureSample a = sampleAt(t1 + hour);  // between T1 and T2
    const TemperatureSample b = sampleAt(t1 + hour);  // older than its own cutoff T2
    const std::string journal = sampleLine(a, t1) + sampleLine(b, t2);

    EXPECT_EQ(idsOf(historyOf(journal, {})), std::vector<UUID>{b.id()});
}

TEST(HistoryFileFormatTests, TheLatestCutoffDropsOlderSnapshotSamplesAndKeepsTheRestInOrder) {
    const TemperatureSample atCutoff = sampleAt(noon - hour);
    const TemperatureSample before = sampleAt(noon - hour - 1);
    const TemperatureSample later = sampleAt(noon - 2);
    const std::string journal =
        sampleLine(sampleAt(noon), noon - hour) + sampleLine(sampleAt(noon), noon - 2 * hour);

    const std::vector<TemperatureSample> history = historyOf(journal, {later, before, atCutoff});

    ASSERT_EQ(history.size(), 4U);
    EXPECT_EQ(history[0], later);
    EXPECT_EQ(history[1], atCutoff);
}

TEST(HistoryFileFormatTests, TheSnapshotVersionOfARepeatedIDWins) {
    const TemperatureSample inSnapshot = sampleAt(noon - hour);
    const TemperatureSample again = recordedAgain(inSnapshot, noon);

    const std::vector<TemperatureSample> history =
        historyOf(sampleLine(again, noon - 24 * hour), {inSnapshot});

    EXPECT_EQ(history, std::vector<TemperatureSample>{inSnapshot});
}

TEST(HistoryFileFormatTests, TheFirstJournalVersionOfARepeatedIDWins) {
    const TemperatureSample first = sampleAt(noon - hour);
    const TemperatureSample other = sampleAt(noon - hour);
    const std::string journal = sampleLine(first, noon - 24 * hour) +
                                sampleLine(other, noon - 24 * hour) +
                                sampleLine(recordedAgain(first, noon), noon - 24 * hour);

    EXPECT_EQ(historyOf(journal, {}), (std::vector<TemperatureSample>{first, other}));
}

TEST(HistoryFileFormatTests, RepeatedIDsWithinTheSnapshotAreKept) {
    const TemperatureSample sample = sampleAt(noon);
    const std::vector<TemperatureSample> snapshot = {sample, sample};
    EXPECT_EQ(HistoryFileFormat::fold(snapshot, {}), snapshot);
}

TEST(HistoryFileFormatTests, JournalSamplesFollowTheSnapshotUnsorted) {
    const TemperatureSample snapshotSample = sampleAt(noon);
    const TemperatureSample older = sampleAt(noon - hour);
    EXPECT_EQ(historyOf(sampleLine(older, noon - 24 * hour), {snapshotSample}),
              (std::vector<TemperatureSample>{snapshotSample, older}));
}

TEST(HistoryFileFormatTests, TheSnapshotRoundTripsCompactlyWithoutALineFeed) {
    const std::vector<TemperatureSample> samples = {sampleAt(noon), sampleAt(noon - hour, {})};
    const std::string bytes = HistoryFileFormat::encodeSnapshot(samples);
    EXPECT_EQ(bytes, "["s + samples[0].json() + "," + samples[1].json() + "]");
    EXPECT_EQ(HistoryFileFormat::decodeSnapshot(bytes), samples);
    EXPECT_EQ(HistoryFileFormat::encodeSnapshot({}), "[]");
}

TEST(HistoryFileFormatTests, ADecodedSnapshotHasRoomForTheSamplesToAdd) {
    const std::vector<TemperatureSample> samples = {sampleAt(noon), sampleAt(noon + 1)};
    const std::vector<TemperatureSample> decoded =
        HistoryFileFormat::decodeSnapshot(HistoryFileFormat::encodeSnapshot(samples), 3);
    EXPECT_EQ(decoded, samples);
    EXPECT_GE(decoded.capacity(), 5U);
}

TEST(HistoryFileFormatTests, ASnapshotThatDoesNotDecodeFailsWithTheDecoderError) {
    const std::vector<std::string> undecodable = {"", "{}", "[1]", "[{\"id\":3}]",
                                                  "["s + sampleAt(noon).json()};
    for (const std::string& bytes : undecodable) {
        const auto error =
            thrown<HistoryDecodingError>([&] { HistoryFileFormat::decodeSnapshot(bytes); });
        ASSERT_TRUE(error.has_value()) << bytes;
        EXPECT_FALSE(error->lineNumber().has_value());
        EXPECT_TRUE(std::string(error->what()).starts_with("snapshot: ")) << error->what();
    }
}

TEST(HistoryFileFormatTests, WhateverFollowsTheSnapshotsArrayMakesItUndecodable) {
    const TemperatureSample sample = sampleAt(noon);
    const std::string item = sample.json();
    for (const std::string& bytes :
         {"[] []"s, "[]]"s, "[] x"s, "[" + item + "] {}", "[" + item + "]" + item}) {
        const auto error =
            thrown<HistoryDecodingError>([&] { HistoryFileFormat::decodeSnapshot(bytes); });
        ASSERT_TRUE(error.has_value()) << bytes;
        EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted) << bytes;
    }
    EXPECT_EQ(HistoryFileFormat::decodeSnapshot(" \n[ " + item + " ]\n\t "), std::vector{sample});
}

TEST(HistoryFileFormatTests, ASnapshotDecodesAlikeWithOrWithoutRoomForTheParsersPadding) {
    const std::vector<TemperatureSample> samples = {sampleAt(noon), sampleAt(noon + hour)};
    std::string tight = HistoryFileFormat::encodeSnapshot(samples);
    tight.shrink_to_fit();
    ASSERT_LT(tight.capacity() - tight.size(), simdjson::SIMDJSON_PADDING);
    std::string roomy = tight;
    roomy.reserve(roomy.size() + simdjson::SIMDJSON_PADDING);
    EXPECT_EQ(HistoryFileFormat::decodeSnapshot(tight), samples);
    EXPECT_EQ(HistoryFileFormat::decodeSnapshot(roomy), samples);
}

TEST(HistoryFileFormatTests, TheMostDistantPastIsTheEarliestTimeTheFilesHold) {
    EXPECT_EQ(InternetDateTime::text(HistoryFileFormat::distantPast), "0000-01-01T00:00:00Z");
    EXPECT_FALSE(InternetDateTime::canWrite(HistoryFileFormat::distantPast - 1));
}

TEST(HistoryFileFormatTests, SamplesAtTheMostDistantPastAreKept) {
    const TemperatureSample inSnapshot = sampleAt(HistoryFileFormat::distantPast);
    const TemperatureSample inJournal = sampleAt(HistoryFileFormat::distantPast);
    EXPECT_EQ(historyOf(sampleLine(inJournal, HistoryFileFormat::distantPast), {inSnapshot}),
              (std::vector{inSnapshot, inJournal}));
    // The last entry's sample is judged by no cutoff at all.
    const std::vector<TemperatureSample> journalOnly =
        historyOf(sampleLine(sampleAt(noon), noon) + sampleLine(inJournal, noon), {});
    ASSERT_FALSE(journalOnly.empty());
    EXPECT_EQ(journalOnly.back(), inJournal);
}

TEST(HistoryFileFormatTests, AnIntegerBeyond64BitsReadsAsTheNearestDouble) {
    std::string bytes = sampleAt(noon, 30.0).json();
    const std::string battery = "\"batteryCelsius\":30";
    bytes.replace(bytes.find(battery), battery.size(), "\"batteryCelsius\":123456789012345678901");
    const std::vector<TemperatureSample> snapshot =
        HistoryFileFormat::decodeSnapshot("[" + bytes + "]");
    ASSERT_EQ(snapshot.size(), 1U);
    EXPECT_EQ(snapshot[0].batteryCelsius(), 1.2345678901234568e20);
    const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal(
        "{\"sample\":" + bytes + ",\"cutoff\":\"2024-04-24T00:00:00Z\"}\n");
    ASSERT_EQ(journal.entries.size(), 1U);
    EXPECT_EQ(journal.entries[0].sample->batteryCelsius(), 1.2345678901234568e20);
}

}  // namespace
}  // namespace tallowbeck
