// The helper's routine in a forked child, with simulated fans in its memory: what it does before
// it lets anyone connect.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
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

}  // namespace
}  // namespace tallowbeck::fanhelper
