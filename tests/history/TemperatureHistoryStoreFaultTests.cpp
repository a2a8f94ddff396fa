#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "tests/fakes/FaultyFileCalls.hpp"
#include "tests/testing/OpenDescriptors.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::ArmedFault;
using testing::FaultyFileCalls;
using testing::FileFunction;
using testing::listOf;
using testing::openDescriptorCount;
using testing::sampleAt;
using testing::thrown;

using History = std::vector<TemperatureSample>;

constexpr double now = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr double monthAgo = now - 30 * 24 * 3600.0;
constexpr std::int64_t week = 7;
constexpr std::size_t entriesBeforeCompaction = 1440;
// Far more calls of one function than any operation makes; reaching it means a runaway loop.
constexpr int callLimit = 64;
constexpr const char* snapshotName = "history/h.json";
constexpr const char* journalName = "history/h.json.journal";

History readBack(const std::filesystem::path& file) {
    return listOf(TemperatureHistoryStore(file).samples());
}

// `count` samples, one second apart, ending a second before `now`.
History recentSamples(std::size_t count) {
    History samples;
    for (std::size_t index = 0; index < count; ++index) {
        samples.push_back(sampleAt(now - static_cast<double>(count - index)));
    }
    return samples;
}

std::string journalOf(std::span<const TemperatureSample> samples) {
    std::string bytes;
    for (const TemperatureSample& sample : samples) {
        bytes += JournalEntry::sampleEntry(sample, monthAgo).line();
    }
    return bytes;
}

// The start of a line that a writer killed while appending left behind; the next append cuts it
// off first.
std::string tornLine() { return journalOf(std::vector{sampleAt(now)}).substr(0, 40); }

struct JournalFile {
    History samples;
    std::string bytes;
};

// A journal due for compaction, built once: encoding it anew would cost more than the faults.
const JournalFile& fullJournal() {
    static const JournalFile journal = [] {
        History samples = recentSamples(entriesBeforeCompaction);
        std::string bytes = journalOf(samples);
        return JournalFile{std::move(samples), std::move(bytes)};
    }();
    return journal;
}

// What lies in the history's folder besides its three files, such as an abandoned temporary.
std::vector<std::filesystem::path> strayFiles(const std::filesystem::path& file) {
    const HistoryFiles files = HistoryFiles::beside(file);
    std::vector<std::filesystem::path> stray;
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
        if (entry.path() != files.snapshot && entry.path() != files.journal &&
            entry.path() != files.lock) {
            stray.push_back(entry.path().filename());
        }
    }
    return stray;
}

enum class Operation { append, appendCompacting, reset, samples };

std::string nameOf(Operation operation) {
    switch (operation) {
        case Operation::append:
            return "Append";
        case Operation::appendCompacting:
            return "AppendCompacting";
        case Operation::reset:
            return "Reset";
        case Operation::samples:
            return "Samples";
    }
    return "Unknown";
}

// A history on disk for one operation to start from, and what the operation leaves when it
// succeeds: a snapshot and a short journal ending in a torn line, or for a compacting append a
// journal that is full.
class Scenario {
public:
    explicit Scenario(Operation operation) : operation_(operation) {
        if (operation == Operation::appendCompacting) {
            before_ = fullJournal().samples;
            directory_.write(journalName, fullJournal().bytes);
            return;
        }
        before_ = recentSamples(4);
        const std::span<const TemperatureSample> all(before_);
        directory_.write(snapshotName, HistoryFileFormat::encodeSnapshot(all.first(2)));
        directory_.write(journalName, journalOf(all.last(2)) + tornLine());
    }

    std::filesystem::path file() const { return directory_.path() / snapshotName; }
    const History& before() const { return before_; }

    History after() const {
        switch (operation_) {
            case Operation::reset:
                return {};
            case Operation::samples:
                return before_;
            case Operation::append:
            case Operation::appendCompacting:
                break;
        }
        History after = before_;
        after.push_back(added_);
        return after;
    }

    // The history the operation returns; nothing for a reset, which returns none.
    std::optional<History> run(TemperatureHistoryStore& store) const {
        switch (operation_) {
            case Operation::reset:
                store.reset();
                return std::nullopt;
            case Operation::samples:
                return listOf(store.samples());
            case Operation::append:
            case Operation::appendCompacting:
                break;
        }
        return listOf(store.append(added_, week, now));
    }

    // Appends and reset start from what the store read before; a first read starts from nothing.
    bool startsWarm() const { return operation_ != Operation::samples; }

private:
    Operation operation_;
    testing::TemporaryDirectory directory_;
    History before_;
    TemperatureSample added_ = sampleAt(now);
};

// Failures the store lets pass on purpose: releasing the lock (the second flock of every
// operation; closing the descriptor releases it anyway); opening or flushing the folder after a
// rename, which only makes the rename durable; removing a temporary file after a failed write,
// which has failed already; and reading a file's stamp, where a stamp that cannot be read only
// makes the next operation read the files again.
bool isTolerated(FileFunction function, int failingCall, const std::filesystem::path& target) {
    std::error_code ignored;
    const bool flushesAFolder =
        (function == FileFunction::open || function == FileFunction::fsync) &&
        std::filesystem::is_directory(target, ignored);
    return (function == FileFunction::flock && failingCall == 2) ||
           function == FileFunction::unlink || function == FileFunction::lstat || flushesAFolder;
}

using FaultCase = std::tuple<Operation, FileFunction, int>;

std::string faultCaseName(const ::testing::TestParamInfo<FaultCase>& tested) {
    const auto [operation, function, error] = tested.param;
    return nameOf(operation) + "_" + std::string(testing::nameOf(function)) + "_" +
           testing::errorName(error);
}

class TemperatureHistoryStoreFaultTests : public ::testing::TestWithParam<FaultCase> {
protected:
    Operation operation() const { return std::get<0>(GetParam()); }
    FileFunction function() const { return std::get<1>(GetParam()); }
    int error() const { return std::get<2>(GetParam()); }

    // Runs the operation with call `failingCall` of the function failing and checks what it
    // leaves; tells whether the operation got as far as that call.
    bool checkFailureOfCall(int failingCall) const {
        const Scenario scenario(operation());
        FaultyFileCalls calls;
        TemperatureHistoryStore store(scenario.file(), calls);
        if (scenario.startsWarm()) {
            store.samples();
        }
        const std::size_t descriptors = openDescriptorCount();
        std::optional<History> result;
        std::optional<std::system_error> failure;
        bool reached = false;
        bool tolerated = false;
        {
            const ArmedFault fault(calls, function(), failingCall, error());
            failure = thrown<std::system_error>([&] { result = scenario.run(store); });
            reached = fault.calls() >= failingCall;
            tolerated = isTolerated(function(), failingCall, fault.failedTarget());
        }
        EXPECT_EQ(openDescriptorCount(), descriptors);
        EXPECT_EQ(strayFiles(scenario.file()), std::vector<std::filesystem::path>{});

        if (reached && error() != EINTR && !tolerated) {
            EXPECT_TRUE(failure.has_value()) << "an untolerated failure was swallowed";
            if (failure) {
                EXPECT_EQ(failure->code(), std::error_code(error(), std::generic_category()));
            }
        } else {
            EXPECT_FALSE(failure.has_value()) << failure->what();
            if (result) {
                EXPECT_EQ(*result, scenario.after());
            }
        }
        const History acknowledged = failure ? scenario.before() : scenario.after();
        EXPECT_EQ(readBack(scenario.file()), acknowledged);

        const TemperatureSample next = sampleAt(now + 1);
        History expected = acknowledged;
        expected.push_back(next);
        EXPECT_EQ(listOf(store.append(next, week, now + 1)), expected);
        return reached;
    }
};

TEST_P(TemperatureHistoryStoreFaultTests, AnyFailingCallLeavesTheLastAcknowledgedHistory) {
    for (int failingCall = 1;; ++failingCall) {
        ASSERT_LE(failingCall, callLimit);
        SCOPED_TRACE("failing call " + std::to_string(failingCall));
        if (!checkFailureOfCall(failingCall)) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCallOfEveryOperation, TemperatureHistoryStoreFaultTests,
                         ::testing::Combine(::testing::Values(Operation::append,
                                                              Operation::appendCompacting,
                                                              Operation::reset, Operation::samples),
                                            ::testing::ValuesIn(testing::everyFileFunction),
                                            ::testing::Values(EIO, ENOSPC, EINTR)),
                         faultCaseName);

// Each operation of a store with no files yet, for the tests about taking the lock.
const std::vector<std::function<void(TemperatureHistoryStore&)>> firstOperations = {
    [](TemperatureHistoryStore& store) { store.samples(); },
    [](TemperatureHistoryStore& store) { store.append(sampleAt(now), week, now); },
    [](TemperatureHistoryStore& store) { store.reset(); },
};

TEST(TemperatureHistoryStoreLockFaultTests, ALockFileThatCannotBeOpenedFailsAndCreatesNoFile) {
    for (const auto& operation : firstOperations) {
        const testing::TemporaryDirectory directory;
        const std::filesystem::path folder = directory.path() / "history";
        std::filesystem::create_directory(folder);
        FaultyFileCalls calls;
        TemperatureHistoryStore store(folder / "h.json", calls);
        std::optional<std::system_error> failure;
        {
            const ArmedFault fault(calls, FileFunction::open, 1, EACCES);
            failure = thrown<std::system_error>([&] { operation(store); });
            EXPECT_EQ(fault.failedTarget(), folder / "h.json.lock");
        }
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->code(), std::error_code(EACCES, std::generic_category()));
        EXPECT_TRUE(std::filesystem::is_empty(folder));
    }
}

TEST(TemperatureHistoryStoreLockFaultTests, ALockThatCannotBeTakenFailsAndClosesTheLockFile) {
    for (const auto& operation : firstOperations) {
        const testing::TemporaryDirectory directory;
        const std::filesystem::path file = directory.path() / "history" / "h.json";
        FaultyFileCalls calls;
        TemperatureHistoryStore store(file, calls);
        const std::size_t descriptors = openDescriptorCount();
        std::optional<std::system_error> failure;
        {
            const ArmedFault fault(calls, FileFunction::flock, 1, ENOLCK);
            failure = thrown<std::system_error>([&] { operation(store); });
        }
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->code(), std::error_code(ENOLCK, std::generic_category()));
        EXPECT_EQ(openDescriptorCount(), descriptors);
        EXPECT_FALSE(std::filesystem::exists(HistoryFiles::beside(file).journal));
        EXPECT_FALSE(std::filesystem::exists(file));
    }
}

TEST(TemperatureHistoryStoreLockFaultTests,
     ALockFileThatCannotBeMadePrivateFailsAndChangesNothing) {
    for (const auto& operation : firstOperations) {
        const testing::TemporaryDirectory directory;
        const std::filesystem::path file = directory.path() / "h.json";
        const TemperatureSample kept = sampleAt(now - 1);
        TemperatureHistoryStore(file).append(kept, week, now);
        const std::filesystem::path lock = HistoryFiles::beside(file).lock;
        std::filesystem::permissions(lock, std::filesystem::perms::others_read,
                                     std::filesystem::perm_options::add);
        FaultyFileCalls calls;
        TemperatureHistoryStore store(file, calls);
        std::optional<std::system_error> failure;
        {
            const ArmedFault fault(calls, FileFunction::fchmod, 1, EIO);
            failure = thrown<std::system_error>([&] { operation(store); });
        }
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->code(), std::error_code(EIO, std::generic_category()));
        EXPECT_EQ(listOf(TemperatureHistoryStore(file).samples()), History{kept});
    }
}

// Rewrites the journal's first line in place with another sample of the same length and puts its
// modification time back, a change that the file's stamp cannot show.
void changeJournalUnseen(const std::filesystem::path& journal, const TemperatureSample& changed) {
    const std::filesystem::file_time_type modified = std::filesystem::last_write_time(journal);
    const std::string line = JournalEntry::sampleEntry(changed, monthAgo).line();
    std::fstream file(journal, std::ios::in | std::ios::out | std::ios::binary);
    std::string firstLine;
    std::getline(file, firstLine);
    ASSERT_EQ(firstLine.size() + 1, line.size());
    file.seekp(0);
    file << line;
    file.close();
    std::filesystem::last_write_time(journal, modified);
}

struct FailingCall {
    FileFunction function;
    int number;
};

std::string describe(const FailingCall& call) {
    return std::string(testing::nameOf(call.function)) + std::to_string(call.number);
}

void PrintTo(const FailingCall& call, std::ostream* stream) { *stream << describe(call); }

std::string failingCallName(const ::testing::TestParamInfo<FailingCall>& tested) {
    return describe(tested.param);
}

class TemperatureHistoryStoreRereadTests : public ::testing::TestWithParam<FailingCall> {};

TEST_P(TemperatureHistoryStoreRereadTests, AfterAFailedAppendTheNextOperationReadsTheFilesAgain) {
    const testing::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / snapshotName;
    const TemperatureSample original = sampleAt(now - 1, 31.5);
    directory.write(journalName, journalOf(std::vector{original}) + tornLine());
    FaultyFileCalls calls;
    TemperatureHistoryStore store(file, calls);
    ASSERT_EQ(listOf(store.samples()), std::vector{original});
    {
        const ArmedFault fault(calls, GetParam().function, GetParam().number, EIO);
        ASSERT_TRUE(thrown<std::system_error>([&] { store.append(sampleAt(now), week, now); }));
    }

    const TemperatureSample changed = sampleAt(now - 1, 32.5);
    changeJournalUnseen(HistoryFiles::beside(file).journal, changed);

    EXPECT_EQ(listOf(store.samples()), std::vector{changed});
}

INSTANTIATE_TEST_SUITE_P(WhileHoldingTheLock, TemperatureHistoryStoreRereadTests,
                         ::testing::Values(FailingCall{FileFunction::open, 2},
                                           FailingCall{FileFunction::ftruncate, 1},
                                           FailingCall{FileFunction::write, 1},
                                           FailingCall{FileFunction::fsync, 1}),
                         failingCallName);

}  // namespace
}  // namespace tallowbeck
