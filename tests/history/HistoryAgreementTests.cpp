// What the store returns is what a fresh read of its files returns, and it stays so for as long
// as the caller keeps it, whatever the store does afterwards.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/LocalTimeZone.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::listOf;
using testing::sampleAt;

constexpr double now = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr double day = 24 * 3600.0;
constexpr std::int64_t week = 7;
// 10001-03-01T00:00:00Z, a clock past the last year a date-time can be written for.
constexpr double pastYear9999 = 253402300800.0 + 425 * day;

class HistoryAgreementTests : public ::testing::Test {
protected:
    std::filesystem::path file() const { return directory.path() / "h.json"; }

    std::vector<TemperatureSample> freshRead() const {
        return listOf(TemperatureHistoryStore(file()).samples());
    }

    // The cutoff of the journal's last line, as written.
    std::string lastCutoffWritten() const {
        const std::string journal = testing::contentsOf(HistoryFiles::beside(file()).journal);
        const HistoryFileFormat::Journal entries = HistoryFileFormat::decodeJournal(journal);
        if (entries.entries.empty()) {
            ADD_FAILURE() << "the journal holds no entry";
            return "";
        }
        return InternetDateTime::text(entries.entries.back().cutoff.value());
    }

    testing::LocalTimeZone zone{"UTC0"};
    testing::TemporaryDirectory directory;
};

TEST_F(HistoryAgreementTests, ATemperatureThatIsNotFiniteIsAbsentInWhatAppendReturnsAsOnDisk) {
    TemperatureHistoryStore store(file());
    const TemperatureSample odd(UUID::random(), now, std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity(), SystemThermalState::fair,
                                true, false);

    const std::vector<TemperatureSample> returned = listOf(store.append(odd, week, now));

    ASSERT_EQ(returned.size(), 1U);
    EXPECT_EQ(returned[0].batteryCelsius(), std::nullopt);
    EXPECT_EQ(returned[0].cpuCelsius(), std::nullopt);
    EXPECT_EQ(returned[0].gpuCelsius(), std::nullopt);
    EXPECT_EQ(returned, freshRead());
}

TEST_F(HistoryAgreementTests, AFractionOfASecondIsDroppedInWhatAppendReturnsAsOnDisk) {
    TemperatureHistoryStore store(file());
    const std::vector<TemperatureSample> returned =
        listOf(store.append(sampleAt(now + 0.75), week, now + 1));
    ASSERT_EQ(returned.size(), 1U);
    EXPECT_EQ(returned[0].recordedAt(), now);
    EXPECT_EQ(returned, freshRead());
}

TEST_F(HistoryAgreementTests, ASampleInTheCutoffsSecondIsKeptInMemoryAsOnDisk) {
    TemperatureHistoryStore store(file());
    const TemperatureSample atTheCutoff = sampleAt(now - 7 * day);
    store.append(atTheCutoff, 30, now);
    // The cutoff falls half a second into the sample's second, and is written as that second.
    const std::vector<TemperatureSample> returned =
        listOf(store.append(sampleAt(now), week, now + 0.5));
    EXPECT_EQ(returned, freshRead());
    ASSERT_FALSE(returned.empty());
    EXPECT_EQ(returned.front(), atTheCutoff);
}

TEST_F(HistoryAgreementTests, ARetentionReachingBeforeTheYear0000KeepsEverything) {
    TemperatureHistoryStore store(file());
    const TemperatureSample ancient = sampleAt(HistoryFileFormat::distantPast);
    store.append(ancient, week, now);
    const TemperatureSample latest = sampleAt(now);

    const std::vector<TemperatureSample> returned = listOf(store.append(latest, 800'000, now));

    EXPECT_EQ(returned, (std::vector{ancient, latest}));
    EXPECT_EQ(returned, freshRead());
    EXPECT_EQ(lastCutoffWritten(), "0000-01-01T00:00:00Z");
}

TEST_F(HistoryAgreementTests, AClockPastTheYear9999AppendsWithTheMostDistantPast) {
    TemperatureHistoryStore store(file());
    const TemperatureSample earlier = sampleAt(now - 30 * day);
    store.append(earlier, week, now);
    const TemperatureSample latest = sampleAt(now);

    const std::vector<TemperatureSample> returned =
        listOf(store.append(latest, week, pastYear9999));

    EXPECT_EQ(returned, (std::vector{earlier, latest}));
    EXPECT_EQ(returned, freshRead());
    EXPECT_EQ(lastCutoffWritten(), InternetDateTime::text(HistoryFileFormat::distantPast));
}

TEST_F(HistoryAgreementTests, AClockThatIsNotFiniteAppendsWithTheMostDistantPast) {
    TemperatureHistoryStore store(file());
    const TemperatureSample latest = sampleAt(now);
    EXPECT_EQ(listOf(store.append(latest, week, std::numeric_limits<double>::quiet_NaN())),
              std::vector{latest});
    EXPECT_EQ(lastCutoffWritten(), "0000-01-01T00:00:00Z");
}

TEST_F(HistoryAgreementTests, AnIntegerBeyond64BitsInTheFilesReadsAsTheNearestDouble) {
    std::string sample = sampleAt(now, 30.0).json();
    const std::string battery = "\"batteryCelsius\":30";
    sample.replace(sample.find(battery), battery.size(),
                   "\"batteryCelsius\":123456789012345678901");
    directory.write("h.json", "[" + sample + "]");

    const std::vector<TemperatureSample> read = freshRead();

    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].batteryCelsius(), 1.2345678901234568e20);
}

TEST_F(HistoryAgreementTests, WhatTheStoreReturnedOutlivesTheStore) {
    const TemperatureSample first = sampleAt(now - 1);
    const TemperatureSample second = sampleAt(now);
    const auto appended = TemperatureHistoryStore(file()).append(first, week, now);
    TemperatureHistoryStore(file()).append(second, week, now);
    const auto read = TemperatureHistoryStore(file()).samples();

    EXPECT_EQ(listOf(appended), std::vector{first});
    EXPECT_EQ(listOf(read), (std::vector{first, second}));
}

TEST_F(HistoryAgreementTests, WhatTheStoreReturnedStaysAsItWasWhileTheStoreGoesOn) {
    std::vector<TemperatureSample> eight;
    for (int index = 8; index > 0; --index) {
        eight.push_back(sampleAt(now - index * day));
    }
    directory.write("h.json", HistoryFileFormat::encodeSnapshot(eight));
    TemperatureHistoryStore store(file());
    const auto read = store.samples();

    // The oldest of the eight expires: the rest move to the front of the store's list.
    const auto appended = store.append(sampleAt(now), week, now);
    const std::vector<TemperatureSample> afterAppend = listOf(appended);
    store.append(sampleAt(now - 2 * day), 1, now);  // drops all but the newest, adds an older one
    store.append(sampleAt(now + 1), 1, now + 1);    // out of order now: trims from the middle
    store.reset();

    EXPECT_EQ(listOf(read), eight);
    EXPECT_EQ(listOf(appended), afterAppend);
    ASSERT_FALSE(afterAppend.empty());
    EXPECT_EQ(afterAppend.front(), eight[1]);
}

}  // namespace
}  // namespace tallowbeck
