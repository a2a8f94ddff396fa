// The history store against the floor of what it does: a cold read against simdjson's DOM parse
// of the same bytes, an append against a bare write and fsync of the same line in the same
// directory (also while the caller holds the history the last append returned), a warm read
// (nothing changed) at two history sizes, a cold read of a journal that repeats one sample many
// times over, and the memory held per sample.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <simdjson.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"

namespace {

using namespace tallowbeck;

constexpr double start = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr double minute = 60.0;
constexpr std::int64_t monthOfDays = 31;
constexpr int monthOfSamples = 43200;  // 30 days at one a minute
constexpr int fullJournal = 1439;      // one entry short of compaction

TemperatureSample sampleAt(double recordedAt, int index) {
    return TemperatureSample(UUID::random(), recordedAt, 30.0 + (index % 40) * 0.25,
                             45.0 + (index % 25) * 0.5, 40.0 + (index % 20) * 0.5,
                             SystemThermalState::nominal, index % 2 == 0, false);
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A history below the working directory (on the disk the build lives on, never a memory file
// system): `snapshotSamples` one a minute in the snapshot, then `journalSamples` in the journal.
class HistoryOnDisk {
public:
    HistoryOnDisk(int snapshotSamples, int journalSamples) {
        std::string pattern = (std::filesystem::current_path() / "history-bench-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        std::vector<TemperatureSample> snapshot;
        for (int index = 0; index < snapshotSamples; ++index) {
            snapshot.push_back(sampleAt(start + index * minute, index));
        }
        snapshotBytes_ = HistoryFileFormat::encodeSnapshot(snapshot);
        for (int index = snapshotSamples; index < snapshotSamples + journalSamples; ++index) {
            journalLines_.push_back(
                JournalEntry::sampleEntry(sampleAt(start + index * minute, index), start).line());
        }
        writeFile(file(), snapshotBytes_);
        std::string journal;
        for (const std::string& line : journalLines_) {
            journal += line;
        }
        writeFile(HistoryFiles::beside(file()).journal, journal);
        sampleCount_ = snapshotSamples + journalSamples;
    }
    ~HistoryOnDisk() { std::filesystem::remove_all(directory_); }
    HistoryOnDisk(const HistoryOnDisk&) = delete;
    HistoryOnDisk& operator=(const HistoryOnDisk&) = delete;

    std::filesystem::path file() const { return directory_ / "temperature-history.json"; }
    const std::filesystem::path& directory() const { return directory_; }
    const std::string& snapshotBytes() const { return snapshotBytes_; }
    const std::vector<std::string>& journalLines() const { return journalLines_; }
    // Recorded a minute after the newest sample.
    double nextTime() const { return start + sampleCount_ * minute; }

private:
    std::filesystem::path directory_;
    std::string snapshotBytes_;
    std::vector<std::string> journalLines_;
    int sampleCount_ = 0;
};

void ColdSamples(benchmark::State& state) {
    const HistoryOnDisk history(monthOfSamples, fullJournal);
    for (auto _ : state) {
        TemperatureHistoryStore store(history.file());
        benchmark::DoNotOptimize(store.samples().size());
    }
}
BENCHMARK(ColdSamples)->Unit(benchmark::kMillisecond);

// A fresh parser each time, as a cold read has: its buffers are sized to the document.
void DOMParseOfTheSameBytes(benchmark::State& state) {
    const HistoryOnDisk history(monthOfSamples, fullJournal);
    for (auto _ : state) {
        simdjson::dom::parser parser;
        simdjson::dom::element root;
        benchmark::DoNotOptimize(parser.parse(history.snapshotBytes()).get(root));
        for (const std::string& line : history.journalLines()) {
            benchmark::DoNotOptimize(parser.parse(line).get(root));
        }
    }
}
BENCHMARK(DOMParseOfTheSameBytes)->Unit(benchmark::kMillisecond);

// A journal holding one sample `state.range(0)` times, as a writer that kept appending the same
// sample leaves it: every copy after the first is skipped, and skipping must cost what one look-up
// does, however many copies came before.
void ColdSamplesOfOneSampleRepeated(benchmark::State& state) {
    const HistoryOnDisk history(0, 0);
    const std::string line = JournalEntry::sampleEntry(sampleAt(start, 0), start).line();
    std::string journal;
    journal.reserve(line.size() * static_cast<std::size_t>(state.range(0)));
    for (std::int64_t copy = 0; copy < state.range(0); ++copy) {
        journal += line;
    }
    writeFile(HistoryFiles::beside(history.file()).journal, journal);
    for (auto _ : state) {
        TemperatureHistoryStore store(history.file());
        benchmark::DoNotOptimize(store.samples().size());
    }
}
BENCHMARK(ColdSamplesOfOneSampleRepeated)
    ->Arg(500000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void WarmSamples(benchmark::State& state) {
    const HistoryOnDisk history(static_cast<int>(state.range(0)), 0);
    TemperatureHistoryStore store(history.file());
    store.samples();
    for (auto _ : state) {
        benchmark::DoNotOptimize(store.samples().size());
    }
}
BENCHMARK(WarmSamples)->Arg(1440)->Arg(monthOfSamples)->Unit(benchmark::kMicrosecond);

// Each round adds a sample a minute newer; fewer rounds than the journal holds before it compacts.
// The samples are made beforehand: a new id costs microseconds that are no part of appending.
// `holdingTheLast`: the history the previous append returned is still held, as by a caller that
// draws it, so the store must append without changing what that one shows.
void appendRounds(benchmark::State& state, bool holdingTheLast) {
    const HistoryOnDisk history(static_cast<int>(state.range(0)), 0);
    std::vector<TemperatureSample> samples;
    for (benchmark::IterationCount index = 0; index < state.max_iterations; ++index) {
        samples.push_back(sampleAt(history.nextTime() + static_cast<double>(index) * minute,
                                   static_cast<int>(index)));
    }
    TemperatureHistoryStore store(history.file());
    HistorySamples held = store.samples();
    auto next = samples.begin();
    for (auto _ : state) {
        HistorySamples returned = store.append(*next, monthOfDays, next->recordedAt());
        benchmark::DoNotOptimize(returned.size());
        if (holdingTheLast) {
            held = std::move(returned);
        }
        ++next;
    }
}

void Append(benchmark::State& state) { appendRounds(state, false); }
BENCHMARK(Append)->Arg(1440)->Arg(monthOfSamples)->Iterations(1000)->Unit(benchmark::kMicrosecond);

void AppendHoldingTheLastHistory(benchmark::State& state) { appendRounds(state, true); }
BENCHMARK(AppendHoldingTheLastHistory)
    ->Arg(1440)
    ->Arg(monthOfSamples)
    ->Iterations(1000)
    ->Unit(benchmark::kMicrosecond);

void BareWriteAndFsync(benchmark::State& state) {
    const HistoryOnDisk history(0, 0);
    const std::string line =
        JournalEntry::sampleEntry(sampleAt(history.nextTime(), 0), start).line();
    const int descriptor = ::open((history.directory() / "bare").c_str(),
                                  O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    for (auto _ : state) {
        benchmark::DoNotOptimize(::write(descriptor, line.data(), line.size()));
        benchmark::DoNotOptimize(::fsync(descriptor));
    }
    ::close(descriptor);
}
BENCHMARK(BareWriteAndFsync)->Iterations(1000)->Unit(benchmark::kMicrosecond);

// Large blocks come straight from mmap and are counted apart from the heap's own.
std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Heap bytes the store holds per sample after a cold read, and after a day of appends on top.
void MemoryPerSample(benchmark::State& state) {
    const HistoryOnDisk history(monthOfSamples, fullJournal);
    for (auto _ : state) {
        const std::size_t before = heapInUse();
        auto store = std::make_unique<TemperatureHistoryStore>(history.file());
        const std::size_t held = store->samples().size();
        state.counters["bytesPerSampleRead"] =
            static_cast<double>(heapInUse() - before) / static_cast<double>(held);
        double time = history.nextTime();
        for (int index = 0; index < 1440; ++index, time += minute) {
            store->append(sampleAt(time, index), monthOfDays, time);
        }
        state.counters["bytesPerSampleAfterADayOfAppends"] =
            static_cast<double>(heapInUse() - before) /
            static_cast<double>(store->samples().size());
    }
}
BENCHMARK(MemoryPerSample)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
