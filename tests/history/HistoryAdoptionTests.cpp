// Adopting a history that an earlier application left behind: under the history's lock, with an
// atomic write, and only a regular file of the user's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "tests/fakes/FakeUserDirectories.hpp"
#include "tests/fakes/FaultyFileCalls.hpp"
#include "tests/fakes/ForeignOwnerFileCalls.hpp"
#include "tests/fakes/ForwardingFileCalls.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/OpenDescriptors.hpp"
#include "tests/testing/Samples.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::ArmedFault;
using testing::contentsOf;
using testing::FaultyFileCalls;
using testing::FileFunction;
using testing::listOf;
using testing::sampleAt;

constexpr double now = 1713960000.0;  // 2024-04-24T12:00:00Z
constexpr int callLimit = 64;

// The calls that take and release the lock and replace files, in the order made.
class RecordingFileCalls final : public testing::ForwardingFileCalls {
public:
    int flock(int descriptor, int operation) override {
        events.emplace_back(operation == LOCK_EX ? "lock" : "unlock");
        return ForwardingFileCalls::flock(descriptor, operation);
    }
    int rename(const char* from, const char* to) override {
        events.push_back("rename to " + std::string(to));
        return ForwardingFileCalls::rename(from, to);
    }

    std::vector<std::string> events;
};

// Another process that starts the history just as this one takes the lock for the adoption.
class StartedMeanwhile final : public testing::ForwardingFileCalls {
public:
    explicit StartedMeanwhile(std::filesystem::path journal) : journal_(std::move(journal)) {}

    int flock(int descriptor, int operation) override {
        if (operation == LOCK_EX && !std::filesystem::exists(journal_)) {
            std::ofstream created(journal_);
        }
        return ForwardingFileCalls::flock(descriptor, operation);
    }

private:
    std::filesystem::path journal_;
};

class HistoryAdoptionTests : public ::testing::Test {
protected:
    std::filesystem::path support() const { return directory.path() / "support"; }
    std::filesystem::path target() const {
        return support() / "com.tallowbeck.Ordwell" / "temperature-history.json";
    }
    std::filesystem::path legacy() const {
        return support() / "com.tallowbeck.Brindlecove" / "temperature-history.json";
    }
    std::filesystem::path writeLegacy() const {
        return directory.write(std::filesystem::relative(legacy(), directory.path()),
                               HistoryFileFormat::encodeSnapshot(legacySamples));
    }
    TemperatureHistoryStore storeOn(FileCalls& calls) const {
        return TemperatureHistoryStore(std::nullopt, calls, directories);
    }
    // What lies beside the adopted snapshot other than the history's own files.
    std::vector<std::filesystem::path> strayFiles() const {
        const HistoryFiles files = HistoryFiles::beside(target());
        std::vector<std::filesystem::path> stray;
        if (!std::filesystem::exists(target().parent_path())) {
            return stray;
        }
        for (const auto& entry : std::filesystem::directory_iterator(target().parent_path())) {
            if (entry.path() != files.snapshot && entry.path() != files.lock) {
                stray.push_back(entry.path().filename());
            }
        }
        return stray;
    }

    testing::TemporaryDirectory directory;
    FakeUserDirectories directories{support(), directory.path() / "tmp"};
    std::vector<TemperatureSample> legacySamples = {sampleAt(now - 60), sampleAt(now)};
};

TEST_F(HistoryAdoptionTests, TheCopyIsMovedIntoPlaceWhileTheLockIsHeld) {
    writeLegacy();
    RecordingFileCalls calls;
    const TemperatureHistoryStore store = storeOn(calls);
    EXPECT_EQ(calls.events,
              (std::vector<std::string>{"lock", "rename to " + target().string(), "unlock"}));
    EXPECT_EQ(contentsOf(target()), contentsOf(legacy()));
}

TEST_F(HistoryAdoptionTests, TheAdoptedHistoryIsPrivateToTheUser) {
    ASSERT_EQ(::chmod(writeLegacy().c_str(), 0644), 0);
    const TemperatureHistoryStore store = storeOn(FileCalls::system());
    struct stat attributes {};
    ASSERT_EQ(::stat(target().c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 0777, 0600U);
}

TEST_F(HistoryAdoptionTests, AHistoryStartedWhileWaitingForTheLockIsNotOverwritten) {
    writeLegacy();
    StartedMeanwhile calls(HistoryFiles::beside(target()).journal);
    TemperatureHistoryStore store = storeOn(calls);
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_TRUE(store.samples().empty());
}

TEST_F(HistoryAdoptionTests, WithNothingToAdoptNoFileIsTouched) {
    const TemperatureHistoryStore store = storeOn(FileCalls::system());
    EXPECT_FALSE(std::filesystem::exists(support()));
}

TEST_F(HistoryAdoptionTests, ALinkInPlaceOfTheOlderHistoryIsNotFollowed) {
    const std::filesystem::path elsewhere = directory.write(
        "elsewhere/history", HistoryFileFormat::encodeSnapshot(std::vector{sampleAt(now)}));
    std::filesystem::create_directories(legacy().parent_path());
    std::filesystem::create_symlink(elsewhere, legacy());
    TemperatureHistoryStore store = storeOn(FileCalls::system());
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_TRUE(store.samples().empty());
}

TEST_F(HistoryAdoptionTests, AnOlderHistoryOfAnotherUserIsNotAdopted) {
    writeLegacy();
    testing::ForeignOwnerFileCalls calls(legacy(), ::geteuid() + 1);
    TemperatureHistoryStore store = storeOn(calls);
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_TRUE(store.samples().empty());
}

TEST_F(HistoryAdoptionTests, AFailingWriteLeavesNoSnapshot) {
    writeLegacy();
    FaultyFileCalls calls;
    {
        const ArmedFault fault(calls, FileFunction::write, 1, EIO);
        const TemperatureHistoryStore store = storeOn(calls);
        EXPECT_EQ(fault.calls(), 1);
    }
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_EQ(strayFiles(), std::vector<std::filesystem::path>{});
}

using AdoptionFault = std::tuple<FileFunction, int>;

std::string adoptionFaultName(const ::testing::TestParamInfo<AdoptionFault>& tested) {
    const auto [function, error] = tested.param;
    return std::string(testing::nameOf(function)) + "_" + testing::errorName(error);
}

class HistoryAdoptionFaultTests : public HistoryAdoptionTests,
                                  public ::testing::WithParamInterface<AdoptionFault> {};

// Whichever call fails, construction goes on, the adopted snapshot is whole or absent, nothing
// is left behind, and the older history is untouched; a later store then has the whole of it.
TEST_P(HistoryAdoptionFaultTests, AnyFailingCallLeavesTheWholeCopyOrNone) {
    const auto [function, error] = GetParam();
    const std::string legacyBytes = contentsOf(writeLegacy());
    for (int failingCall = 1;; ++failingCall) {
        ASSERT_LE(failingCall, callLimit);
        SCOPED_TRACE("failing call " + std::to_string(failingCall));
        std::filesystem::remove_all(target().parent_path());
        FaultyFileCalls calls;
        const std::size_t descriptors = testing::openDescriptorCount();
        bool reached = false;
        {
            const ArmedFault fault(calls, function, failingCall, error);
            EXPECT_NO_THROW(storeOn(calls));
            reached = fault.calls() >= failingCall;
        }
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
        EXPECT_EQ(strayFiles(), std::vector<std::filesystem::path>{});
        if (std::filesystem::exists(target())) {
            EXPECT_EQ(contentsOf(target()), legacyBytes);
        }
        EXPECT_EQ(contentsOf(legacy()), legacyBytes);
        EXPECT_EQ(listOf(storeOn(FileCalls::system()).samples()), legacySamples);
        if (!reached) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCallOfTheAdoption, HistoryAdoptionFaultTests,
                         ::testing::Combine(::testing::ValuesIn(testing::everyFileFunction),
                                            ::testing::Values(EIO, ENOSPC, EINTR)),
                         adoptionFaultName);

}  // namespace
}  // namespace tallowbeck
