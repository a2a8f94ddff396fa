// Several processes on one history, and writers killed while appending: nothing acknowledged is
// ever lost, and no reader sees a sample vanish.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>
#include <set>
#include <string_view>
#include <thread>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "tests/fakes/ForwardingFileCalls.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

constexpr std::int64_t week = 7;

struct ByBytes {
    bool operator()(const UUID& left, const UUID& right) const {
        return left.bytes() < right.bytes();
    }
};
using IDSet = std::set<UUID, ByBytes>;

double wholeSecondNow() {
    return std::floor(
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count());
}

std::vector<UUID> readIDs(int descriptor) {
    std::vector<UUID> ids;
    UUID::Bytes bytes{};
    std::size_t filled = 0;
    for (ssize_t count = 0;
         (count = ::read(descriptor, bytes.data() + filled, bytes.size() - filled)) > 0;) {
        filled += static_cast<std::size_t>(count);
        if (filled == bytes.size()) {
            ids.emplace_back(bytes);
            filled = 0;
        }
    }
    return ids;
}

IDSet idSetOf(std::span<const TemperatureSample> samples) {
    IDSet ids;
    for (const TemperatureSample& sample : samples) {
        ids.insert(sample.id());
    }
    return ids;
}

// Every journal line decodes and the file ends just after the last one.
void expectWholeJournal(const std::filesystem::path& snapshot) {
    const std::string journal = testing::contentsOf(HistoryFiles::beside(snapshot).journal);
    EXPECT_EQ(HistoryFileFormat::decodeJournal(journal).validLength, journal.size());
}

// How many bytes of its first write a tearing writer gets onto the disk before it dies.
std::size_t tornLength = 0;

// The system's calls, except that the first write is cut short by the writer's death.
class TearingFileCalls final : public testing::ForwardingFileCalls {
public:
    ssize_t write(int descriptor, const void* bytes, std::size_t count) override {
        const ssize_t written = ::write(descriptor, bytes, std::min(count, tornLength));
        if (written >= 0) {
            ::raise(SIGKILL);
        }
        return written;
    }
};

// A pipe whose ends close with it.
struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

void writeToPipe(const Pipe& pipe, std::string_view bytes) {
    PosixFile::writeAll(FileCalls::system(), pipe.writeEnd.get(), bytes, "pipe");
}

// Appends a new sample and then sends its id down `acknowledged`.
void appendAcknowledged(TemperatureHistoryStore& store, double now, const Pipe& acknowledged) {
    const TemperatureSample sample = testing::sampleAt(now);
    store.append(sample, week, now);
    const UUID::Bytes& id = sample.id().bytes();
    writeToPipe(acknowledged,
                std::string_view(reinterpret_cast<const char*>(id.data()), id.size()));
}

TEST(HistorySharingTests, FourWritersAndAReaderLoseNothingAcrossCompaction) {
    constexpr int writers = 4;
    constexpr int samplesEach = 400;
    const testing::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "temperature-history.json";
    const double now = wholeSecondNow();
    Pipe stop;

    // The reader reports 0 when every history it saw began with the one before it.
    testing::ChildProcess reader = testing::ChildProcess::fork([&] {
        TemperatureHistoryStore store(file);
        std::vector<UUID> previous;
        int reads = 0;
        char ignored = 0;
        ::fcntl(stop.readEnd.get(), F_SETFL, O_NONBLOCK);
        while (::read(stop.readEnd.get(), &ignored, 1) != 1) {
            const std::span<const TemperatureSample> samples = store.samples();
            if (samples.size() < previous.size()) {
                return 10;
            }
            for (std::size_t index = 0; index < previous.size(); ++index) {
                if (samples[index].id() != previous[index]) {
                    return 11;
                }
            }
            previous.clear();
            for (const TemperatureSample& sample : samples) {
                previous.push_back(sample.id());
            }
            ++reads;
        }
        return reads > 10 ? 0 : 12;
    });

    std::vector<testing::ChildProcess> writerProcesses;
    Pipe acknowledged;
    for (int writer = 0; writer < writers; ++writer) {
        writerProcesses.push_back(testing::ChildProcess::fork([&] {
            TemperatureHistoryStore store(file);
            for (int index = 0; index < samplesEach; ++index) {
                appendAcknowledged(store, now, acknowledged);
            }
            return 0;
        }));
    }
    acknowledged.writeEnd.close();
    const std::vector<UUID> written = readIDs(acknowledged.readEnd.get());
    for (testing::ChildProcess& writer : writerProcesses) {
        EXPECT_EQ(writer.waitForExit().shellStatus(), 0);
    }
    writeToPipe(stop, "x");
    EXPECT_EQ(reader.waitForExit().shellStatus(), 0);

    TemperatureHistoryStore store(file);
    const std::span<const TemperatureSample> history = store.samples();
    EXPECT_EQ(written.size(), 1600U);
    EXPECT_EQ(history.size(), 1600U);
    EXPECT_EQ(idSetOf(history), IDSet(written.begin(), written.end()));
    EXPECT_TRUE(std::filesystem::exists(file)) << "the journal was never compacted";
    EXPECT_NO_THROW(HistoryFileFormat::decodeSnapshot(testing::contentsOf(file)));
    expectWholeJournal(file);
}

TEST(HistorySharingTests, EveryAcknowledgedAppendSurvivesAKill) {
    constexpr int kills = 50;
    const testing::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "temperature-history.json";
    const double now = wholeSecondNow();
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> delayMilliseconds(0, 40);
    IDSet acknowledgedSoFar;

    for (int round = 0; round < kills; ++round) {
        Pipe acknowledged;
        testing::ChildProcess writer = testing::ChildProcess::fork([&] {
            TemperatureHistoryStore store(file);
            for (;;) {
                appendAcknowledged(store, now, acknowledged);
            }
            return 0;
        });
        acknowledged.writeEnd.close();
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMilliseconds(random)));
        writer.signal(SIGKILL);
        EXPECT_EQ(writer.waitForExit().shellStatus(), 128 + SIGKILL);
        for (const UUID& id : readIDs(acknowledged.readEnd.get())) {
            acknowledgedSoFar.insert(id);
        }

        const IDSet held = idSetOf(TemperatureHistoryStore(file).samples());
        for (const UUID& id : acknowledgedSoFar) {
            ASSERT_TRUE(held.contains(id)) << "round " << round;
        }
    }

    TemperatureHistoryStore store(file);
    const TemperatureSample last = testing::sampleAt(now);
    const IDSet held = idSetOf(store.append(last, week, now));
    EXPECT_TRUE(held.contains(last.id()));
    EXPECT_TRUE(std::includes(held.begin(), held.end(), acknowledgedSoFar.begin(),
                              acknowledgedSoFar.end(), ByBytes()));
    expectWholeJournal(file);
}

TEST(HistorySharingTests, AWriterKilledMidLineLosesNothingAndTheNextAppendRepairsTheLine) {
    constexpr int rounds = 10;
    const testing::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "temperature-history.json";
    const std::filesystem::path journal = HistoryFiles::beside(file).journal;
    const double now = wholeSecondNow();
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::size_t lineLength =
        JournalEntry::sampleEntry(testing::sampleAt(now), now).line().size();
    std::uniform_int_distribution<std::size_t> tornLengths(1, lineLength - 1);
    TemperatureHistoryStore store(file);
    store.append(testing::sampleAt(now), week, now);

    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const std::vector<TemperatureSample> before(store.samples().begin(), store.samples().end());
        const std::uintmax_t wholeLength = std::filesystem::file_size(journal);
        tornLength = tornLengths(random);
        testing::ChildProcess writer = testing::ChildProcess::fork([&] {
            TearingFileCalls tearing;
            TemperatureHistoryStore(file, tearing).append(testing::sampleAt(now), week, now);
            return 0;
        });
        ASSERT_EQ(writer.waitForExit().shellStatus(), 128 + SIGKILL);
        ASSERT_EQ(std::filesystem::file_size(journal), wholeLength + tornLength);

        const std::span<const TemperatureSample> afterKill = store.samples();
        EXPECT_TRUE(std::equal(afterKill.begin(), afterKill.end(), before.begin(), before.end()));

        const TemperatureSample next = testing::sampleAt(now);
        const std::span<const TemperatureSample> repaired = store.append(next, week, now);
        ASSERT_EQ(repaired.size(), before.size() + 1);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), repaired.begin()));
        EXPECT_EQ(repaired.back(), next);
        expectWholeJournal(file);
    }
}

}  // namespace
}  // namespace tallowbeck
