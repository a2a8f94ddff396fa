// The fan helper as a real process, with the helper's own server code driving simulated fans kept
// in a file, and real clients: the tallowbeck tool and raw sockets.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "tests/simulated/SimulatedSMCState.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/DyingWithThisProcess.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/ProcessActivity.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/SocketClient.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::linesOf;

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::becomesTrueWithin;
using testing::CapturedOutput;
using testing::ChildProcess;
using testing::SimulatedSMCState;
using testing::SocketClient;

constexpr const char* cliPath = TALLOWBECK_CLI_PATH;
constexpr const char* helperPath = TALLOWBECK_FAN_HELPER_PATH;
constexpr const char* simulatedHelperPath = TALLOWBECK_SIMULATED_FAN_HELPER_PATH;
// Bounds every wait for a process, well beyond what a loaded machine needs.
constexpr auto patience = 10s;
const std::string eighty =
    FanBoostRequest::begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0});

std::size_t descriptorCount(pid_t pid) {
    const fs::directory_iterator entries("/proc/" + std::to_string(pid) + "/fd");
    return static_cast<std::size_t>(std::distance(entries, fs::directory_iterator()));
}

// The simulated helper, its fans' file, its recovery flag and its socket in a folder of their
// own. The fans start in automatic control, with chips hot enough for any boost to force them.
class FanHelperEndToEndTests : public ::testing::Test {
protected:
    FanHelperEndToEndTests() { SimulatedSMCState::twoFanMacBookPro(90.0F).save(fans); }

    // Starts the helper and waits until it accepts connections.
    void startHelper() {
        helper.emplace(ChildProcess::start(
            simulatedHelperPath,
            {fans.string(), "--socket", socket.string(), "--recovery-file", flag.string()},
            {.error = helperErrors.descriptor()}, testing::dyingWithThisProcess()));
        ASSERT_TRUE(becomesTrueWithin(patience, [this] { return accepts(); }))
            << helperErrors.text();
    }

    // A socket at the helper's path, made and listened on by the test, as the service manager
    // makes one.
    FileDescriptor listeningAtTheSocket() const {
        FileDescriptor listening(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const UnixSocketAddress address(socket);
        if (!listening.isOpen() || ::bind(listening.get(), address.get(), address.size()) != 0 ||
            ::listen(listening.get(), 8) != 0) {
            throw std::system_error(errno, std::generic_category(), "listen");
        }
        return listening;
    }

    bool accepts() const {
        try {
            const SocketClient probe(socket);
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }

    // `tallowbeck fans boost` with these thresholds, running until the test ends it.
    ChildProcess startBoost(const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments{"fans",  "boost", "--cpu",    "80",
                                           "--gpu", "80",    "--socket", socket.string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return ChildProcess::start(
            cliPath, arguments,
            {.output = clientOutput.descriptor(), .error = clientErrors.descriptor()},
            testing::dyingWithThisProcess());
    }

    testing::ProgramResult runTool(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--socket", socket.string()});
        return testing::runProgram(cliPath, arguments);
    }

    std::vector<SimulatedSMCState::Fan> fanState() const {
        return SimulatedSMCState::load(fans).fans;
    }
    bool fansForced() const {
        const auto state = fanState();
        return state[0].forced && state[1].forced && state[0].targetRPM == state[0].maximumRPM &&
               state[1].targetRPM == state[1].maximumRPM;
    }
    bool fansAutomatic() const { return !SimulatedSMCState::load(fans).anyFanForced(); }
    std::string flagText() const { return fs::exists(flag) ? testing::contentsOf(flag) : ""; }
    // The flag is cleared once the fans are seen automatic.
    bool fansHandedBack() const { return fansAutomatic() && flagText() == "clear\n"; }

    void expectFansHandedBack() {
        EXPECT_TRUE(fansAutomatic());
        EXPECT_EQ(flagText(), "clear\n");
    }

    testing::TemporaryDirectory directory;
    fs::path fans = directory.path() / "fans.json";
    fs::path flag = directory.path() / "fan-boost-recovery";
    fs::path socket = directory.path() / "helper.socket";
    CapturedOutput helperErrors;
    CapturedOutput clientOutput;
    CapturedOutput clientErrors;
    std::optional<ChildProcess> helper;
};

TEST_F(FanHelperEndToEndTests, TheRealHelperRefusesAMachineWhoseFansItCannotDrive) {
    const testing::ProgramResult result = testing::runProgram(
        helperPath, {"--socket", socket.string(), "--recovery-file", flag.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError,
              "tallowbeck-fan-helper: cannot control the fans: this Mac model is not supported\n");
    EXPECT_FALSE(fs::exists(socket));
    EXPECT_FALSE(fs::exists(flag));
}

TEST_F(FanHelperEndToEndTests, TheInstallStepWritesTheLaunchDefinitionForTheHelpersOwnFile) {
    const testing::ProgramResult result =
        testing::runProgram(helperPath, {"--write-launch-definition", directory.path().string()});
    const fs::path written = directory.path() / "com.tallowbeck.Quillmoss.FanHelper.plist";
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, written.string() + "\n");
    const std::string program = "<string>" + fs::canonical(helperPath).string() + "</string>";
    EXPECT_NE(testing::contentsOf(written).find(program), std::string::npos);
}

TEST_F(FanHelperEndToEndTests, ABoostHoldsTheFansUntilTheClientIsInterrupted) {
    startHelper();
    ChildProcess client = startBoost();
    ASSERT_TRUE(becomesTrueWithin(patience, [this] { return fansForced(); }))
        << clientErrors.text();
    EXPECT_EQ(flagText(), "pending\n");
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForExit(patience).shellStatus(), 0) << clientErrors.text();
    const std::vector<std::string> lines = linesOf(clientOutput.text());
    ASSERT_GE(lines.size(), 2u);
    EXPECT_TRUE(lines.front().starts_with("Fan Boost on, fans at maximum (fan 0 at "))
        << lines.front();
    EXPECT_EQ(lines.back(), "Fan Boost off");
    EXPECT_EQ(clientErrors.text(), "");
    expectFansHandedBack();
}

TEST_F(FanHelperEndToEndTests, AKilledClientsBoostEndsWithinTwoSeconds) {
    startHelper();
    ChildProcess client = startBoost();
    ASSERT_TRUE(becomesTrueWithin(patience, [this] { return fansForced(); }));
    client.signal(SIGKILL);
    client.waitForExit(patience);
    EXPECT_TRUE(becomesTrueWithin(2s, [this] { return fansHandedBack(); }));
}

TEST_F(FanHelperEndToEndTests, AClientThatStopsSendingHeartbeatsLosesItsBoostWhenTheLeaseLapses) {
    startHelper();
    ChildProcess client = startBoost({"--json"});
    ASSERT_TRUE(becomesTrueWithin(patience, [this] { return fansForced(); }));
    client.signal(SIGSTOP);
    const auto stoppedAt = std::chrono::steady_clock::now();
    // The lease runs 15 s from the begin or the last heartbeat; ticks come every second.
    ASSERT_TRUE(becomesTrueWithin(20s, [this] { return fansHandedBack(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - stoppedAt, 13s);
    SocketClient observer(socket);
    const FanBoostStatus status = observer.ask(FanBoostRequest::heartbeat());
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(status.boosting);
    EXPECT_EQ(status.error, FanBoostSession::expiredMessage);
    // Woken, the client learns at once, not a heartbeat interval later, that its boost is over,
    // says why and fails.
    client.signal(SIGCONT);
    EXPECT_EQ(client.waitForExit(2s).shellStatus(), 1);
    const std::vector<std::string> lines = linesOf(clientOutput.text());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(FanBoostStatus::fromJSON(lines.back()).error, FanBoostSession::expiredMessage);
}

TEST_F(FanHelperEndToEndTests, AKilledHelpersSuccessorRestoresTheFansBeforeItAcceptsAConnection) {
    startHelper();
    SocketClient owner(socket);
    ASSERT_TRUE(owner.ask(eighty).boosting);
    helper->signal(SIGKILL);
    helper->waitForExit(patience);
    EXPECT_EQ(flagText(), "pending\n");
    EXPECT_TRUE(fansForced());
    startHelper();
    // The first connection it accepted found the fans already handed back.
    expectFansHandedBack();
    SocketClient client(socket);
    const FanBoostStatus status = client.ask(FanBoostRequest::heartbeat());
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(status.restorationPending);
    EXPECT_EQ(status.error, FanBoostSession::recoveringMessage);
}

TEST_F(FanHelperEndToEndTests, ASecondClientsBoostIsRefusedWhileTheFirstOwnsTheFans) {
    startHelper();
    ChildProcess first = startBoost();
    ASSERT_TRUE(becomesTrueWithin(patience, [this] { return fansForced(); }));
    const testing::ProgramResult second = runTool({"fans", "boost", "--cpu", "85", "--gpu", "85"});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_EQ(second.standardOutput, "");
    EXPECT_EQ(second.standardError,
              "tallowbeck: Fan Boost is already active or restoring automatic control.\n");
    EXPECT_TRUE(fansForced());
    first.signal(SIGTERM);
    EXPECT_EQ(first.waitForExit(patience).shellStatus(), 0);
    expectFansHandedBack();
}

TEST_F(FanHelperEndToEndTests, ThresholdsOutsideTheRangeOrNotANumberGetTheSessionsOwnMessage) {
    startHelper();
    // "nan" reaches the helper as a word, since a JSON number cannot hold it.
    for (const char* threshold : {"60", "nan"}) {
        const testing::ProgramResult result =
            runTool({"fans", "boost", "--cpu", threshold, "--gpu", "80"});
        EXPECT_EQ(result.exitStatus, 1) << threshold;
        EXPECT_EQ(result.standardError,
                  "tallowbeck: Choose a fan boost temperature from 65 to 95 °C.\n")
            << threshold;
    }
    EXPECT_TRUE(fansAutomatic());
    EXPECT_FALSE(fs::exists(flag));
}

TEST_F(FanHelperEndToEndTests, AHelperStartedByTheServiceManagerServesOnTheSocketItIsHanded) {
    // Made and listened on as the service manager would, then handed over as descriptor 3.
    const FileDescriptor listening = listeningAtTheSocket();
    const fs::path unused = directory.path() / "never-made.socket";
    const std::function<void()> dying = testing::dyingWithThisProcess();
    helper.emplace(ChildProcess::start(
        "/bin/sh",
        {"-c", "LISTEN_PID=$$ LISTEN_FDS=1 exec \"$0\" \"$@\"", simulatedHelperPath, fans.string(),
         "--socket", unused.string(), "--recovery-file", flag.string()},
        {.error = helperErrors.descriptor()}, [&listening, &dying] {
            dying();
            // A descriptor already at 3 only loses its close-on-exec flag.
            listening.get() == 3 ? ::fcntl(3, F_SETFD, 0) : ::dup2(listening.get(), 3);
        }));
    const testing::ProgramResult status = runTool({"fans", "boost", "status"});
    EXPECT_EQ(status.exitStatus, 0) << status.standardError << helperErrors.text();
    EXPECT_EQ(status.standardOutput, "Fan Boost off\n");
    helper->signal(SIGTERM);
    EXPECT_EQ(helper->waitForExit(patience).shellStatus(), 0) << helperErrors.text();
    EXPECT_FALSE(fs::exists(unused)) << helperErrors.text();
    // The socket file is the service manager's, left for the next start.
    EXPECT_TRUE(fs::is_socket(socket));
}

TEST_F(FanHelperEndToEndTests, AHelperGoneBeforeItAnswersSendsTheUserToItsJournal) {
    // What a client meets when the service manager took its connection for a helper that then
    // refused to start: the connection closes without an answer.
    const FileDescriptor listening = listeningAtTheSocket();
    ChildProcess tool =
        ChildProcess::start(cliPath, {"fans", "boost", "status", "--socket", socket.string()},
                            {.error = clientErrors.descriptor()}, testing::dyingWithThisProcess());
    FileDescriptor(::accept(listening.get(), nullptr, nullptr)).close();
    EXPECT_EQ(tool.waitForExit(patience).shellStatus(), 1);
    // Closed before or after the request went out: either way one line, ending with the hint.
    const std::string errors = clientErrors.text();
    EXPECT_TRUE(errors.starts_with("tallowbeck: ")) << errors;
    EXPECT_TRUE(
        errors.ends_with("; where the service manager starts the helper, `journalctl -u "
                         "tallowbeck-fan-helper` says why it stopped or did not start\n"))
        << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(FanHelperEndToEndTests, StatusShowsWhatTheHelperPublishes) {
    startHelper();
    testing::ProgramResult idle = runTool({"fans", "boost", "status"});
    EXPECT_EQ(idle.exitStatus, 0);
    EXPECT_EQ(idle.standardOutput, "Fan Boost off\n");
    SocketClient owner(socket);
    ASSERT_TRUE(owner.ask(eighty).boosting);
    const testing::ProgramResult boosting = runTool({"fans", "boost", "status"});
    EXPECT_EQ(boosting.exitStatus, 0);
    EXPECT_TRUE(boosting.standardOutput.starts_with("Fan Boost on, fans at maximum (fan 0 at "))
        << boosting.standardOutput;
    const testing::ProgramResult json = runTool({"fans", "boost", "status", "--json"});
    EXPECT_EQ(json.exitStatus, 0);
    const FanBoostStatus status = FanBoostStatus::fromJSON(json.standardOutput);
    EXPECT_TRUE(status.enabled);
    EXPECT_TRUE(status.boosting);
    ASSERT_EQ(status.fans.size(), 2u);
    EXPECT_TRUE(status.fans[0].manual);
    // Asking for the status took nothing from the owner.
    EXPECT_TRUE(owner.ask(FanBoostRequest::heartbeat()).boosting);
}

TEST_F(FanHelperEndToEndTests, WithoutAHelperTheToolSaysSoOnOneLine) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"fans", "boost", "status"},
          std::vector<std::string>{"fans", "boost", "--cpu", "80", "--gpu", "80"}}) {
        const testing::ProgramResult result = runTool(command);
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError,
                  "tallowbeck: the fan helper is not running at " + socket.string() + "\n");
    }
}

TEST_F(FanHelperEndToEndTests, AStopSignalEndsTheBoostAndTheHelperWithTheFansHandedBack) {
    startHelper();
    SocketClient owner(socket);
    ASSERT_TRUE(owner.ask(eighty).boosting);
    helper->signal(SIGTERM);
    EXPECT_EQ(helper->waitForExit(patience).shellStatus(), 0);
    EXPECT_EQ(helperErrors.text(), "");
    expectFansHandedBack();
    EXPECT_FALSE(fs::exists(socket));
    EXPECT_EQ(owner.receiveFrame(), std::nullopt);
}

TEST_F(FanHelperEndToEndTests, AHelperThatCannotHandTheFansBackSaysSoAndKeepsTheFlag) {
    startHelper();
    SocketClient owner(socket);
    ASSERT_TRUE(owner.ask(eighty).boosting);
    // The fans' controller disappears while the helper is held still.
    helper->signal(SIGSTOP);
    fs::rename(fans, directory.path() / "gone.json");
    helper->signal(SIGINT);
    helper->signal(SIGCONT);
    EXPECT_EQ(helper->waitForExit(patience).shellStatus(), 0);
    EXPECT_EQ(helperErrors.text(),
              "tallowbeck-fan-helper: automatic fan control could not be restored; the helper "
              "restores it when it starts again\n");
    EXPECT_EQ(flagText(), "pending\n");
}

TEST_F(FanHelperEndToEndTests, TwoHundredMisbehavingClientsDisturbNeitherTheHelperNorTheBoost) {
    startHelper();
    SocketClient owner(socket);
    ASSERT_TRUE(owner.ask(eighty).boosting);
    const std::size_t descriptorsBefore = descriptorCount(helper->pid());
    std::mt19937 random(20240501);
    const auto chance = [&](int percent) {
        return std::uniform_int_distribution<int>(1, 100)(random) <= percent;
    };
    const auto garbage = [&](std::size_t most) {
        std::string bytes(std::uniform_int_distribution<std::size_t>(1, most)(random), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(std::uniform_int_distribution<int>(0, 255)(random));
        }
        return bytes;
    };
    const std::string heartbeat = FanBoostFrame::encode(FanBoostRequest::heartbeat());
    std::vector<SocketClient> open;
    for (int index = 0; index < 200; ++index) {
        SocketClient& client = open.emplace_back(socket);
        switch (std::uniform_int_distribution<int>(0, 5)(random)) {
            case 0:
                client.trySend(garbage(300));
                break;
            case 1:  // half a frame
                client.trySend(heartbeat.substr(0, heartbeat.size() / 2));
                break;
            case 2:  // a header that promises far too much
                client.trySend(std::string("\x7f\xff\xff\xff", 4) + garbage(50));
                break;
            case 3:  // a frame that is no request
                client.trySend(FanBoostFrame::encode(garbage(100)));
                break;
            case 4:  // a stop that is not the owner's
                client.trySend(FanBoostFrame::encode(FanBoostRequest::stop()));
                break;
            default:  // nothing at all
                break;
        }
        for (std::size_t victim = 0; victim < open.size();) {
            if (chance(30)) {
                open.erase(open.begin() + static_cast<std::ptrdiff_t>(victim));
            } else {
                ++victim;
            }
        }
        if (index % 50 == 49) {
            EXPECT_TRUE(owner.ask(FanBoostRequest::heartbeat()).boosting);
        }
    }
    open.clear();
    EXPECT_TRUE(becomesTrueWithin(
        patience, [&] { return descriptorCount(helper->pid()) == descriptorsBefore; }))
        << descriptorCount(helper->pid()) << " descriptors, " << descriptorsBefore << " before";
    EXPECT_FALSE(helper->exitWithin(0ms).has_value());
    const FanBoostStatus status = owner.ask(FanBoostRequest::heartbeat());
    EXPECT_TRUE(status.enabled);
    EXPECT_TRUE(status.boosting);
    EXPECT_FALSE(status.error.has_value());
    EXPECT_TRUE(fansForced());
    EXPECT_EQ(flagText(), "pending\n");
}

TEST_F(FanHelperEndToEndTests, AnIdleHelperIsNeverWokenOnceTheBoostIsOver) {
    startHelper();
    {
        SocketClient owner(socket);
        ASSERT_TRUE(owner.ask(eighty).boosting);
        ASSERT_FALSE(owner.ask(FanBoostRequest::stop()).enabled);
    }
    ASSERT_TRUE(becomesTrueWithin(patience, [this] { return fansHandedBack(); }));
    // Whatever the closing of the connection still had it do.
    std::this_thread::sleep_for(200ms);
    const testing::ProcessActivity before = testing::ProcessActivity::of(helper->pid());
    // Longer than a tick period: a timer still running would have woken it.
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(testing::ProcessActivity::of(helper->pid()).contextSwitches, before.contextSwitches);
}

}  // namespace
}  // namespace tallowbeck
