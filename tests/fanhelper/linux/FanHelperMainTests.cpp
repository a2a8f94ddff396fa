// The helper's routine in a forked child, with simulated fans in its memory: what it does before
// it lets anyone connect.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "fanhelper/FanHelperMain.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/SocketClient.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck::fanhelper {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::SimulatedSMCState;

constexpr auto patience = 10s;

// The fans of a simulated Mac, noting on every restoration of automatic control whether the
// helper's socket is there yet.
class SocketWatchingFans final : public FanBoostControlling {
public:
    SocketWatchingFans(FanBoostControlling& fans, fs::path socket, fs::path notes)
        : fans_(fans), socket_(std::move(socket)), notes_(std::move(notes)) {}

    std::vector<FanSpeed> readFans() override { return fans_.readFans(); }
    ChipTemperatureReading readChips() noexcept override { return fans_.readChips(); }
    void setMaximum() override { fans_.setMaximum(); }
    void restoreAutomatic() override {
        std::ofstream(notes_, std::ios::app) << (fs::exists(socket_) ? "listening\n" : "closed\n");
        fans_.restoreAutomatic();
    }

private:
    FanBoostControlling& fans_;
    fs::path socket_;
    fs::path notes_;
};

// Both fans at maximum, as a helper that died during a boost left them.
SimulatedSMCState forcedFans() {
    SimulatedSMCState state = SimulatedSMCState::twoFanMacBookPro();
    state.forceFansToMaximum();
    return state;
}

TEST(FanHelperMainTests, APendingRecoveryIsCarriedOutBeforeTheSocketIsThere) {
    const testing::TemporaryDirectory directory;
    const fs::path socket = directory.path() / "helper.socket";
    const fs::path notes = directory.path() / "notes";
    const fs::path flag = directory.write("fan-boost-recovery", "pending\n");
    testing::ChildProcess helper = testing::ChildProcess::fork([&] {
        testing::SimulatedMac mac(forcedFans());
        SocketWatchingFans fans(mac.hardware, socket, notes);
        const std::vector<std::string> arguments{"tallowbeck-fan-helper", "--socket",
                                                 socket.string(), "--recovery-file", flag.string()};
        std::vector<const char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        return FanHelperMain::run(static_cast<int>(argv.size()), argv.data(),
                                  {.hardware = fans,
                                   .thermalState = [] { return SystemThermalState::nominal; },
                                   .wallClock = mac.clock.function()});
    });
    std::optional<testing::SocketClient> client;
    ASSERT_TRUE(testing::becomesTrueWithin(patience, [&] {
        try {
            client.emplace(socket);
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }));
    const FanBoostStatus status = client->ask(FanBoostRequest::heartbeat());
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(status.restorationPending);
    EXPECT_EQ(status.error, FanBoostSession::recoveringMessage);
    EXPECT_EQ(testing::contentsOf(notes), "closed\n");
    EXPECT_EQ(testing::contentsOf(flag), "clear\n");
    helper.signal(SIGTERM);
    EXPECT_EQ(helper.waitForExit(patience).exitStatus(), 0);
}

// The fans of a simulated Mac, noting after every attempt to hand them back whether any is still
// forced.
class RestorationNotingFans final : public FanBoostControlling {
public:
    RestorationNotingFans(testing::SimulatedMac& mac, fs::path notes)
        : mac_(mac), notes_(std::move(notes)) {}

    std::vector<FanSpeed> readFans() override { return mac_.hardware.readFans(); }
    ChipTemperatureReading readChips() noexcept override { return mac_.hardware.readChips(); }
    void setMaximum() override { mac_.hardware.setMaximum(); }
    void restoreAutomatic() override {
        try {
            mac_.hardware.restoreAutomatic();
        } catch (...) {
            note();
            throw;
        }
        note();
    }

private:
    void note() const {
        std::ofstream(notes_, std::ios::app)
            << (mac_.smc.state.anyFanForced() ? "forced\n" : "automatic\n");
    }

    testing::SimulatedMac& mac_;
    fs::path notes_;
};

std::size_t lineCount(const fs::path& file) {
    const std::string text = fs::exists(file) ? testing::contentsOf(file) : std::string();
    return static_cast<std::size_t>(std::ranges::count(text, '\n'));
}

TEST(FanHelperMainTests, AFlagSetOnAMachineItCannotVerifyIsRestoredAndRetriedNotAbandoned) {
    const testing::TemporaryDirectory directory;
    const fs::path notes = directory.path() / "notes";
    const fs::path errors = directory.path() / "errors";
    const fs::path flag = directory.write("fan-boost-recovery", "pending\n");
    testing::ChildProcess helper = testing::ChildProcess::fork([&] {
        const FileDescriptor errorFile(
            ::open(errors.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        ::dup2(errorFile.get(), STDERR_FILENO);
        SimulatedSMCState state = forcedFans();
        // A fan count the hardware does not take: every reading of the fans is refused.
        state.reportedFanCount = 3;
        testing::SimulatedMac mac(state);
        RestorationNotingFans fans(mac, notes);
        const std::vector<std::string> arguments{"tallowbeck-fan-helper", "--socket",
                                                 (directory.path() / "helper.socket").string(),
                                                 "--recovery-file", flag.string()};
        std::vector<const char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        return FanHelperMain::run(static_cast<int>(argv.size()), argv.data(),
                                  {.hardware = fans,
                                   .thermalState = [] { return SystemThermalState::nominal; },
                                   .wallClock = mac.clock.function()});
    });
    ASSERT_TRUE(testing::becomesTrueWithin(patience, [&] { return lineCount(notes) >= 2; }));
    // The fans went back to the system at once, though the machine cannot confirm it.
    EXPECT_EQ(testing::contentsOf(notes).substr(0, 10), "automatic\n");
    EXPECT_FALSE(helper.exitWithin(0ms).has_value()) << "the helper gave up with the flag set";
    EXPECT_EQ(testing::contentsOf(flag), "pending\n");
    const std::string said = testing::contentsOf(errors);
    EXPECT_NE(said.find("automatic fan control could not be restored yet ("), std::string::npos)
        << said;
    // Said once, not at every retry.
    EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
    helper.signal(SIGTERM);
    EXPECT_EQ(helper.waitForExit(patience).exitStatus(), 0);
    EXPECT_NE(testing::contentsOf(errors).find("the helper restores it when it starts again"),
              std::string::npos);
    EXPECT_EQ(testing::contentsOf(flag), "pending\n");
}

}  // namespace
}  // namespace tallowbeck::fanhelper
