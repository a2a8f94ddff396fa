#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/ForwardingFanBoostHelper.hpp"
#include "tests/fakes/FakeRecoveryJournal.hpp"
#include "tests/simulated/SimulatedMac.hpp"

namespace tallowbeck {
namespace {

using testing::FakeRecoveryJournal;
using testing::SimulatedMac;

const UUID owner = *UUID::fromText("6F1C2D3E-4A5B-4C6D-8E7F-8091A2B3C4D5");
const UUID otherClient = *UUID::fromText("0A0B0C0D-0E0F-4011-8213-141516171819");
const std::string eighty =
    FanBoostConfiguration{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0}.json();

// Every reply a connection got, in order.
class Replies {
public:
    FanBoostHelperProtocol::Reply callback() {
        return [this](std::string_view status) { received.emplace_back(status); };
    }
    FanBoostStatus only() const {
        EXPECT_EQ(received.size(), 1u);
        return FanBoostStatus::fromJSON(received.at(0));
    }

    std::vector<std::string> received;
};

class ForwardingFanBoostHelperTests : public ::testing::Test {
protected:
    ForwardingFanBoostHelperTests() { mac.smc.setTemperatures(90.0F, 90.0F); }

    SimulatedMac mac;
    FakeRecoveryJournal journal;
    FanBoostSession session{mac.hardware, journal, [] { return SystemThermalState::nominal; },
                            mac.clock.function()};
    double uptime = 100.0;
    ForwardingFanBoostHelper client{session, owner, [this] { return uptime; }};
    ForwardingFanBoostHelper otherConnection{session, otherClient, [this] { return uptime; }};
};

TEST_F(ForwardingFanBoostHelperTests,
       BeginRepliesOnceWithTheSessionsStatusUnderTheConnectionsOwner) {
    Replies replies;
    client.begin(eighty, replies.callback());
    const FanBoostStatus status = replies.only();
    EXPECT_TRUE(status.enabled);
    EXPECT_TRUE(status.boosting);
    EXPECT_EQ(status.fans.size(), 2u);
    EXPECT_EQ(replies.received.front(), session.status().json());
    EXPECT_TRUE(mac.smc.state.anyFanForced());
    // The session knows the boost as this connection's.
    session.stop(otherClient);
    EXPECT_TRUE(mac.smc.state.anyFanForced());
    session.stop(owner);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
}

TEST_F(ForwardingFanBoostHelperTests, TheRequestAsAWholeIsAConfigurationBuffer) {
    Replies replies;
    client.begin(FanBoostRequest::begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0}),
                 replies.callback());
    EXPECT_TRUE(replies.only().boosting);
}

TEST_F(ForwardingFanBoostHelperTests, ABufferThatIsNoConfigurationIsRefusedAndTheSessionUntouched) {
    Replies first;
    client.begin(eighty, first.callback());
    const std::string running = session.status().json();
    const std::size_t journalChanges = journal.changes.size();
    const std::size_t smcCalls = mac.smc.callCount();
    for (const std::string_view buffer :
         {std::string_view(""), std::string_view("not json"), std::string_view("[80, 80]"),
          std::string_view(R"({"cpuThresholdCelsius":80})"),
          std::string_view(R"({"cpuThresholdCelsius":"80","gpuThresholdCelsius":80})"),
          std::string_view("\xff\xfe\x00", 3)}) {
        Replies replies;
        otherConnection.begin(buffer, replies.callback());
        const FanBoostStatus refused = replies.only();
        EXPECT_FALSE(refused.enabled);
        EXPECT_FALSE(refused.boosting);
        EXPECT_FALSE(refused.restorationPending);
        EXPECT_TRUE(refused.fans.empty());
        EXPECT_EQ(refused.error, ForwardingFanBoostHelper::invalidConfigurationMessage);
    }
    EXPECT_EQ(session.status().json(), running);
    EXPECT_EQ(journal.changes.size(), journalChanges);
    EXPECT_EQ(mac.smc.callCount(), smcCalls);
}

TEST_F(ForwardingFanBoostHelperTests, ThresholdsOutOfRangeGetTheSessionsOwnMessage) {
    Replies replies;
    client.begin(
        FanBoostConfiguration{.cpuThresholdCelsius = 60.0, .gpuThresholdCelsius = 80.0}.json(),
        replies.callback());
    EXPECT_EQ(replies.only().error, FanBoostSession::invalidThresholdsMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
}

TEST_F(ForwardingFanBoostHelperTests, ThresholdsThatAreNotFiniteGetTheSessionsOwnMessage) {
    for (const double odd :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        Replies replies;
        client.begin(FanBoostRequest::begin(FanBoostConfiguration{.cpuThresholdCelsius = odd,
                                                                  .gpuThresholdCelsius = 80.0}),
                     replies.callback());
        EXPECT_EQ(replies.only().error, FanBoostSession::invalidThresholdsMessage) << odd;
    }
    EXPECT_FALSE(mac.smc.state.anyFanForced());
}

TEST_F(ForwardingFanBoostHelperTests, HeartbeatsTakeTheUptimeFromTheConnectionsClock) {
    Replies begun;
    client.begin(eighty, begun.callback());
    uptime += 14.5;
    Replies renewed;
    client.heartbeat(renewed.callback());
    EXPECT_TRUE(renewed.only().enabled);
    uptime += 15.0;
    Replies late;
    client.heartbeat(late.callback());
    const FanBoostStatus ended = late.only();
    EXPECT_FALSE(ended.enabled);
    EXPECT_FALSE(ended.error.has_value());
    EXPECT_FALSE(mac.smc.state.anyFanForced());
}

TEST_F(ForwardingFanBoostHelperTests, AnotherConnectionsHeartbeatOnlyReadsTheStatus) {
    Replies begun;
    client.begin(eighty, begun.callback());
    uptime += 100.0;
    Replies status;
    otherConnection.heartbeat(status.callback());
    EXPECT_TRUE(status.only().boosting);
    EXPECT_TRUE(mac.smc.state.anyFanForced());
}

TEST_F(ForwardingFanBoostHelperTests, StopRepliesWithTheStatusAfterStopping) {
    Replies begun;
    client.begin(eighty, begun.callback());
    Replies stopped;
    client.stop(stopped.callback());
    const FanBoostStatus status = stopped.only();
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(status.boosting);
    EXPECT_FALSE(status.error.has_value());
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
}

// A controller that breaks its promise to fail only with FanBoostHardwareError.
class BrokenController final : public FanBoostControlling {
public:
    std::vector<FanSpeed> readFans() override { throw std::runtime_error("out of order"); }
    ChipTemperatureReading readChips() noexcept override { return {}; }
    void setMaximum() override {}
    void restoreAutomatic() override {}
};

TEST(ForwardingFanBoostHelperFailureTests, AnUnexpectedFailureIsStillOneReplyAndNothingThrown) {
    BrokenController controller;
    FakeRecoveryJournal journal;
    FanBoostSession session(
        controller, journal, [] { return SystemThermalState::nominal; }, [] { return 0.0; });
    ForwardingFanBoostHelper client(session, owner, [] { return 1.0; });
    Replies replies;
    EXPECT_NO_THROW(client.begin(eighty, replies.callback()));
    EXPECT_EQ(replies.only().error, ForwardingFanBoostHelper::failedRequestMessage);
}

}  // namespace
}  // namespace tallowbeck
