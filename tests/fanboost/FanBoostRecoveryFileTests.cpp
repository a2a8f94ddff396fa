#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>

#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "tests/fakes/FaultyFileCalls.hpp"
#include "tests/fakes/ForeignOwnerFileCalls.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::ArmedFault;
using testing::contentsOf;
using testing::FaultyFileCalls;
using testing::FileFunction;
using testing::TemporaryDirectory;
using testing::thrown;

const UUID owner = *UUID::fromText("6F1C2D3E-4A5B-4C6D-8E7F-8091A2B3C4D5");

class FanBoostRecoveryFileTests : public ::testing::Test {
protected:
    FanBoostRecoveryFileTests() { mac.smc.setTemperatures(90.0F, 60.0F); }

    std::filesystem::path file() const { return directory.path() / "helper" / "recovery"; }

    // A fan helper's session on the simulated machine, whose CPU runs above the thresholds.
    std::unique_ptr<FanBoostSession> startHelper(FanBoostRecoveryJournal& journal) {
        return std::make_unique<FanBoostSession>(
            mac.hardware, journal, [] { return SystemThermalState::nominal; },
            mac.clock.function());
    }

    static FanBoostStatus beginBoost(FanBoostSession& session) {
        return session.begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0}, owner,
                             10.0);
    }

    TemporaryDirectory directory;
    FaultyFileCalls calls;
    testing::SimulatedMac mac;
};

TEST_F(FanBoostRecoveryFileTests, AMissingFileIsNotPending) {
    FanBoostRecoveryFile journal(file(), calls);
    EXPECT_FALSE(journal.isPending());
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(FanBoostRecoveryFileTests, TheFlagSurvivesARestart) {
    FanBoostRecoveryFile(file(), calls).setPending(true);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
    EXPECT_EQ(contentsOf(file()), "pending\n");
    FanBoostRecoveryFile(file(), calls).setPending(false);
    EXPECT_FALSE(FanBoostRecoveryFile(file(), calls).isPending());
    EXPECT_EQ(contentsOf(file()), "clear\n");
}

TEST_F(FanBoostRecoveryFileTests, TheFirstChangeCreatesTheFolderAndTheFileForOwnerWritesOnly) {
    FanBoostRecoveryFile(file(), calls).setPending(false);
    struct stat attributes {};
    ASSERT_EQ(::stat(file().c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 07777, 0644u);
    ASSERT_EQ(::stat(file().parent_path().c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 07777, 0755u);
}

TEST_F(FanBoostRecoveryFileTests, AnythingButTheTwoContentsIsPending) {
    for (const char* contents : {"", "clear", "clear\n\n", "Clear\n", "false\n", "0\n", "pending",
                                 "garbage\n", " clear\n"}) {
        directory.write("helper/recovery", contents);
        EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending()) << '"' << contents << '"';
    }
}

TEST_F(FanBoostRecoveryFileTests, AFileThatCannotBeReadIsPending) {
    std::filesystem::create_directories(file());
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
}

TEST_F(FanBoostRecoveryFileTests, AFailedOpenOtherThanAMissingFileIsPending) {
    directory.write("helper/recovery", "clear\n");
    const ArmedFault fault(calls, FileFunction::open, 1, EACCES);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
}

TEST_F(FanBoostRecoveryFileTests, AFailedReadIsPending) {
    directory.write("helper/recovery", "clear\n");
    const ArmedFault fault(calls, FileFunction::read, 1, EIO);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
}

TEST_F(FanBoostRecoveryFileTests, AChangeThatCannotBeMadeDurableFailsAndLeavesTheFileAsItWas) {
    for (const FileFunction function :
         {FileFunction::mkdir, FileFunction::open, FileFunction::write, FileFunction::fsync,
          FileFunction::rename}) {
        std::filesystem::remove_all(file().parent_path());
        if (function != FileFunction::mkdir) {
            directory.write("helper/recovery", "clear\n");
        }
        FanBoostRecoveryFile journal(file(), calls);
        const ArmedFault fault(calls, function, 1, ENOSPC);
        const auto error = thrown<std::system_error>([&] { journal.setPending(true); });
        ASSERT_TRUE(error.has_value()) << testing::nameOf(function);
        EXPECT_EQ(error->code(), std::error_code(ENOSPC, std::generic_category()));
        EXPECT_FALSE(journal.isPending()) << testing::nameOf(function);
        // Nothing is left behind: no folder when it could not be made, else only the old file.
        const std::filesystem::path folder = file().parent_path();
        EXPECT_EQ(std::filesystem::exists(folder), function != FileFunction::mkdir);
        if (function != FileFunction::mkdir) {
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder),
                                    std::filesystem::directory_iterator()),
                      1)
                << testing::nameOf(function);
            EXPECT_EQ(contentsOf(file()), "clear\n");
        }
    }
}

TEST_F(FanBoostRecoveryFileTests, ABoostWhoseFlagCannotBeWrittenNeverForcesTheFans) {
    FanBoostRecoveryFile journal(file(), calls);
    const std::unique_ptr<FanBoostSession> session = startHelper(journal);
    const ArmedFault fault(calls, FileFunction::write, 1, EIO);
    const FanBoostStatus status = beginBoost(*session);
    EXPECT_EQ(status.error, FanBoostSession::rejectedMessage);
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(mac.smc.writeCount(), 0u);
    EXPECT_FALSE(journal.isPending());
}

TEST_F(FanBoostRecoveryFileTests, TheFlagIsOnDiskBeforeTheFirstForcingWrite) {
    std::vector<std::string> contentsAtEachWrite;
    mac.smc.onWrite = [&](const SMCKeyData&) { contentsAtEachWrite.push_back(contentsOf(file())); };
    FanBoostRecoveryFile journal(file(), calls);
    const std::unique_ptr<FanBoostSession> session = startHelper(journal);
    EXPECT_TRUE(beginBoost(*session).boosting);
    EXPECT_EQ(contentsAtEachWrite, std::vector<std::string>(6, "pending\n"));
    session->stop(owner);
    EXPECT_EQ(contentsOf(file()), "clear\n");
}

TEST_F(FanBoostRecoveryFileTests, ARestartedHelperRestoresTheFansItLeftForced) {
    {
        FanBoostRecoveryFile journal(file(), calls);
        beginBoost(*startHelper(journal));
        ASSERT_TRUE(mac.smc.state.fans[0].forced);
    }
    FanBoostRecoveryFile journal(file(), calls);
    const std::unique_ptr<FanBoostSession> restarted = startHelper(journal);
    EXPECT_EQ(restarted->status().error, FanBoostSession::recoveringMessage);
    EXPECT_FALSE(mac.smc.state.fans[0].forced);
    EXPECT_FALSE(mac.smc.state.fans[1].forced);
    EXPECT_EQ(contentsOf(file()), "clear\n");
}

// Counts the bytes read through it.
class CountingFileCalls final : public testing::ForwardingFileCalls {
public:
    ssize_t read(int descriptor, void* bytes, std::size_t count) override {
        const ssize_t result = ForwardingFileCalls::read(descriptor, bytes, count);
        bytesRead += result > 0 ? static_cast<std::size_t>(result) : 0;
        return result;
    }

    std::size_t bytesRead = 0;
};

TEST_F(FanBoostRecoveryFileTests, AFIFOInTheFlagsPlaceIsPendingWithoutWaitingForAWriter) {
    std::filesystem::create_directories(file().parent_path());
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    testing::ChildProcess reader = testing::ChildProcess::fork(
        [&] { return FanBoostRecoveryFile(file(), calls).isPending() ? 0 : 1; });
    const std::optional<testing::ChildExit> exit = reader.exitWithin(std::chrono::seconds(5));
    ASSERT_TRUE(exit.has_value()) << "reading the flag waits for a writer of the FIFO";
    EXPECT_EQ(exit->exitStatus(), 0);
}

TEST_F(FanBoostRecoveryFileTests, AClearFlagOfAnotherUserIsPending) {
    directory.write("helper/recovery", "clear\n");
    testing::ForeignOwnerFileCalls foreign(file(), 65534);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), foreign).isPending());
    EXPECT_FALSE(FanBoostRecoveryFile(file(), calls).isPending());
}

TEST_F(FanBoostRecoveryFileTests, AClearFlagThatOthersMayWriteIsPending) {
    directory.write("helper/recovery", "clear\n");
    for (const mode_t mode : {0664U, 0646U}) {
        std::filesystem::permissions(file(), static_cast<std::filesystem::perms>(mode));
        EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending()) << std::oct << mode;
    }
}

TEST_F(FanBoostRecoveryFileTests, AClearFlagInAFolderOfAnotherUserIsPending) {
    directory.write("helper/recovery", "clear\n");
    testing::ForeignOwnerFileCalls foreign(file().parent_path(), 65534);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), foreign).isPending());
    const auto error =
        thrown<std::system_error>([&] { FanBoostRecoveryFile(file(), foreign).setPending(false); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::operation_not_permitted);
    EXPECT_NE(std::string(error->what()).find(file().parent_path().string()), std::string::npos);
}

TEST_F(FanBoostRecoveryFileTests, AFolderThatOthersMayWriteToIsRefused) {
    directory.write("helper/recovery", "clear\n");
    std::filesystem::permissions(file().parent_path(), std::filesystem::perms::all);
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
    const auto error =
        thrown<std::system_error>([&] { FanBoostRecoveryFile(file(), calls).setPending(true); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::operation_not_permitted);
    EXPECT_EQ(contentsOf(file()), "clear\n");
}

TEST_F(FanBoostRecoveryFileTests, ALinkInPlaceOfTheFolderIsNeverFollowed) {
    const std::filesystem::path elsewhere = directory.path() / "elsewhere";
    directory.write("elsewhere/recovery", "clear\n");
    std::filesystem::create_directory_symlink(elsewhere, file().parent_path());
    EXPECT_TRUE(FanBoostRecoveryFile(file(), calls).isPending());
    const auto error =
        thrown<std::system_error>([&] { FanBoostRecoveryFile(file(), calls).setPending(true); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::too_many_symbolic_link_levels);
    EXPECT_EQ(contentsOf(elsewhere / "recovery"), "clear\n");
}

TEST_F(FanBoostRecoveryFileTests, OnlyTheStartOfAHugeFlagIsRead) {
    directory.write("helper/recovery", "clear\n");
    std::filesystem::resize_file(file(), 1ULL << 32);
    CountingFileCalls counting;
    EXPECT_TRUE(FanBoostRecoveryFile(file(), counting).isPending());
    EXPECT_LE(counting.bytesRead, 16u);
}

TEST_F(FanBoostRecoveryFileTests, ARelativePathIsTakenFromTheCurrentFolder) {
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::create_directories(file().parent_path());
    std::filesystem::current_path(file().parent_path());
    FanBoostRecoveryFile journal("recovery", calls);
    std::filesystem::current_path(previous);
    EXPECT_EQ(journal.path(), file());
    journal.setPending(true);
    EXPECT_EQ(contentsOf(file()), "pending\n");
    EXPECT_TRUE(journal.isPending());
}

TEST_F(FanBoostRecoveryFileTests, AnUntrustedFlagIsReplacedByTheHelpersOwnAfterTheRestore) {
    mac.smc.state.forceFansToMaximum();
    directory.write("helper/recovery", "clear\n");
    ASSERT_EQ(::chown(file().c_str(), 65534, 65534), 0);
    FanBoostRecoveryFile journal(file(), calls);
    const std::unique_ptr<FanBoostSession> session = startHelper(journal);
    EXPECT_EQ(session->status().error, FanBoostSession::recoveringMessage);
    EXPECT_FALSE(mac.smc.state.fans[0].forced);
    struct stat attributes {};
    ASSERT_EQ(::lstat(file().c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_uid, ::geteuid());
    EXPECT_EQ(contentsOf(file()), "clear\n");
    EXPECT_FALSE(journal.isPending());
}

}  // namespace
}  // namespace tallowbeck
