#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "TallowbeckCore/history/CachedHistory.hpp"
#include "tests/testing/Samples.hpp"

namespace tallowbeck {
namespace {

using testing::listOf;
using testing::recordedAgain;
using testing::sampleAt;

std::vector<TemperatureSample> samplesAt(std::initializer_list<double> times) {
    std::vector<TemperatureSample> samples;
    for (const double time : times) {
        samples.push_back(sampleAt(time));
    }
    return samples;
}

TEST(CachedHistoryTests, TrimsATimeOrderedHistoryFromTheFront) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20, 20, 30});
    CachedHistory history(samples);
    history.removeRecordedBefore(20);
    EXPECT_EQ(listOf(history.samples()), std::vector(samples.begin() + 1, samples.end()));
    history.removeRecordedBefore(31);
    EXPECT_TRUE(history.samples().empty());
}

TEST(CachedHistoryTests, TrimsAnUnorderedHistoryKeepingTheOrderOfTheRest) {
    const std::vector<TemperatureSample> samples = samplesAt({30, 10, 25, 5, 40});
    CachedHistory history(samples);
    history.removeRecordedBefore(25);
    EXPECT_EQ(listOf(history.samples()), (std::vector{samples[0], samples[2], samples[4]}));
}

TEST(CachedHistoryTests, AnOutOfOrderAppendSwitchesToTheUnorderedTrim) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20});
    CachedHistory history(samples);
    const TemperatureSample late = sampleAt(5);
    history.append(late);
    history.removeRecordedBefore(15);
    EXPECT_EQ(listOf(history.samples()), std::vector{samples[1]});
}

TEST(CachedHistoryTests, FindsIDsOnlyAmongTheKeptSamples) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20});
    CachedHistory history(samples);
    EXPECT_TRUE(history.containsID(samples[0].id()));
    history.removeRecordedBefore(15);
    EXPECT_FALSE(history.containsID(samples[0].id()));
    EXPECT_TRUE(history.containsID(samples[1].id()));
    const TemperatureSample added = sampleAt(30);
    EXPECT_FALSE(history.containsID(added.id()));
    history.append(added);
    EXPECT_TRUE(history.containsID(added.id()));
}

TEST(CachedHistoryTests, AnIDSharingItsFirstHalfIsNotTheSame) {
    const TemperatureSample sample = sampleAt(10);
    UUID::Bytes bytes = sample.id().bytes();
    bytes[15] ^= 0xFF;
    CachedHistory history({sample});
    EXPECT_FALSE(history.containsID(UUID(bytes)));
}

TEST(CachedHistoryTests, IDsSharingTheirFirstHalfAreTrackedApart) {
    const TemperatureSample older = sampleAt(10);
    UUID::Bytes bytes = older.id().bytes();
    bytes[15] ^= 0xFF;
    const TemperatureSample newer(UUID(bytes), 20, 31.5, std::nullopt, std::nullopt,
                                  SystemThermalState::nominal, false, false);
    CachedHistory history({older, newer});
    EXPECT_TRUE(history.containsID(older.id()));
    history.removeRecordedBefore(15);
    EXPECT_FALSE(history.containsID(older.id()));
    EXPECT_TRUE(history.containsID(newer.id()));
}

TEST(CachedHistoryTests, ChangesBeforeTheFirstLookupAreAccountedFor) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20});
    CachedHistory history(samples);
    const TemperatureSample added = sampleAt(30);
    history.append(added);
    history.removeRecordedBefore(15);
    EXPECT_FALSE(history.containsID(samples[0].id()));
    EXPECT_TRUE(history.containsID(samples[1].id()));
    EXPECT_TRUE(history.containsID(added.id()));
}

TEST(CachedHistoryTests, StaysCorrectThroughALongRunOfAppendsAndExpiries) {
    // One sample a minute kept for a day: the front is reclaimed many times over.
    constexpr double minute = 60;
    constexpr int perDay = 1440;
    std::vector<TemperatureSample> expected;
    CachedHistory history({});
    for (int index = 0; index < 3 * perDay; ++index) {
        const TemperatureSample sample = sampleAt(index * minute);
        const double cutoff = (index - perDay) * minute;
        history.removeRecordedBefore(cutoff);
        history.append(sample);
        std::erase_if(expected,
                      [&](const TemperatureSample& kept) { return kept.recordedAt() < cutoff; });
        expected.push_back(sample);
    }
    EXPECT_EQ(listOf(history.samples()), expected);
    EXPECT_TRUE(history.containsID(expected.front().id()));
    EXPECT_FALSE(history.containsID(recordedAgain(sampleAt(0), 0).id()));
}

// What was handed out stays as it was through every change the history goes through after.
TEST(CachedHistoryTests, WhatWasHandedOutNeverChanges) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20, 30, 40, 50, 60, 70, 80});
    CachedHistory history(samples);
    const HistorySamples before = history.samples();

    history.removeRecordedBefore(15);  // an eighth dead in front: reclaimed at once
    history.append(sampleAt(90));
    const HistorySamples trimmed = history.samples();
    history.append(sampleAt(5));  // out of order: a later trim takes samples from the middle
    history.removeRecordedBefore(25);
    for (int index = 0; index < 200; ++index) {
        history.append(sampleAt(100 + index));  // the block fills up and moves
    }

    EXPECT_EQ(listOf(before), samples);
    ASSERT_FALSE(trimmed.empty());
    EXPECT_EQ(listOf(trimmed), (std::vector{samples[1], samples[2], samples[3], samples[4],
                                            samples[5], samples[6], samples[7], trimmed.back()}));
    EXPECT_EQ(trimmed.back().recordedAt(), 90);
    EXPECT_EQ(history.samples().size(), 6U + 1U + 200U);
}

TEST(CachedHistoryTests, WhatWasHandedOutOutlivesTheHistory) {
    const std::vector<TemperatureSample> samples = samplesAt({10, 20});
    HistorySamples kept;
    {
        CachedHistory history(samples);
        kept = history.samples();
    }
    EXPECT_EQ(listOf(kept), samples);
}

TEST(CachedHistoryTests, AnotherThreadReadsWhatWasHandedOutWhileTheHistoryChanges) {
    constexpr int appends = 20000;
    CachedHistory history(samplesAt({1, 2, 3, 4}));
    history.append(sampleAt(5));  // shares the block's room with what is handed out next
    const HistorySamples handedOut = history.samples();
    const std::vector<TemperatureSample> expected = listOf(handedOut);
    std::atomic<bool> done = false;
    std::atomic<int> mismatches = 0;
    std::thread reader([&] {
        while (!done.load()) {
            if (!std::equal(handedOut.begin(), handedOut.end(), expected.begin(), expected.end())) {
                ++mismatches;
            }
        }
    });
    for (int index = 0; index < appends; ++index) {
        history.append(sampleAt(10 + index));
        history.removeRecordedBefore(index - 100);
    }
    done = true;
    reader.join();
    EXPECT_EQ(mismatches.load(), 0);
    const HistorySamples after = history.samples();
    ASSERT_FALSE(after.empty());
    EXPECT_EQ(after.back().recordedAt(), 10 + appends - 1);
}

}  // namespace
}  // namespace tallowbeck
