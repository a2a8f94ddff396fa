// The host's loop in virtual time: when it ticks, when it does not, and what connections do.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostHost.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "tests/fakes/FakeRecoveryJournal.hpp"
#include "tests/fakes/ScriptedHostTransport.hpp"
#include "tests/simulated/SimulatedMac.hpp"

namespace tallowbeck {
namespace {

using Operation = FanBoostRequest::Operation;
using testing::FakeRecoveryJournal;
using testing::ScriptedHostTransport;
using testing::SimulatedMac;
using testing::SimulatedSMC;

const std::string eighty =
    FanBoostRequest::begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0});

class FanBoostHostTests : public ::testing::Test {
protected:
    FanBoostHostTests() { mac.smc.setTemperatures(90.0F, 90.0F); }

    // Runs the host to the script's shutdown.
    FanBoostStatus run(double tickPeriod = FanBoostHost::defaultTickPeriod) {
        // Every tick of a running boost asks for the thermal state once.
        FanBoostSession session(
            mac.hardware, journal,
            [this] {
                tickTimes.push_back(clients.now);
                return SystemThermalState::nominal;
            },
            mac.clock.function());
        FanBoostHost host(session, clients, clients.uptime(), tickPeriod);
        return host.run();
    }

    FanBoostStatus lastReply(FanBoostHostTransport::ConnectionID connection) {
        return FanBoostStatus::fromJSON(clients.replies.at(connection).back());
    }

    SimulatedMac mac;
    FakeRecoveryJournal journal;
    ScriptedHostTransport clients;
    std::vector<double> tickTimes;
};

TEST_F(FanBoostHostTests, AnIdleHostWaitsWithoutATimerAndNeverTicks) {
    clients.connect(10.0, 1);
    clients.request(20.0, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    clients.disconnect(30.0, 1);
    clients.shutdown(40.0);
    run();
    for (const std::optional<double>& timeout : clients.timeouts) {
        EXPECT_FALSE(timeout.has_value());
    }
    EXPECT_TRUE(tickTimes.empty());
    EXPECT_EQ(mac.smc.openCount, 0u);
    EXPECT_FALSE(lastReply(1).enabled);
}

TEST_F(FanBoostHostTests, ARequestOnAConnectionTheHostDoesNotKnowIsRefusedOnce) {
    clients.request(10.0, 7, Operation::begin, eighty);
    clients.shutdown(20.0);
    run();
    ASSERT_EQ(clients.replies[7].size(), 1u);
    const FanBoostStatus refused = lastReply(7);
    EXPECT_FALSE(refused.enabled);
    EXPECT_EQ(refused.error, FanBoostHost::unknownConnectionMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_TRUE(tickTimes.empty());
}

TEST_F(FanBoostHostTests, ARunningBoostIsTickedEverySecondAndNoLongerOnceItStops) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.request(5.5, 1, Operation::stop, FanBoostRequest::stop());
    clients.shutdown(20.0);
    run();
    // The first comes from begin itself.
    EXPECT_EQ(tickTimes, (std::vector<double>{1.0, 2.0, 3.0, 4.0, 5.0}));
    ASSERT_FALSE(clients.timeouts.empty());
    EXPECT_FALSE(clients.timeouts.back().has_value());
    const FanBoostStatus stopped = lastReply(1);
    EXPECT_FALSE(stopped.enabled);
    EXPECT_FALSE(stopped.error.has_value());
    EXPECT_FALSE(mac.smc.state.anyFanForced());
}

TEST_F(FanBoostHostTests, TheTickPeriodIsTheHosts) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.shutdown(2.0);
    run(0.25);
    EXPECT_EQ(tickTimes, (std::vector<double>{1.0, 1.25, 1.5, 1.75}));
}

TEST_F(FanBoostHostTests, AClientThatStopsSendingHeartbeatsLosesItsBoostFifteenSecondsOn) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    // The client is suspended; the host learns nothing of it until it comes back.
    clients.request(30.0, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    clients.shutdown(31.0);
    run();
    ASSERT_FALSE(tickTimes.empty());
    // The tick at uptime 16 finds the lease, renewed at 1, lapsed.
    EXPECT_EQ(tickTimes.back(), 15.0);
    const FanBoostStatus late = lastReply(1);
    EXPECT_FALSE(late.enabled);
    EXPECT_FALSE(late.boosting);
    EXPECT_EQ(late.error, FanBoostSession::expiredMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    ASSERT_FALSE(clients.timeouts.empty());
    EXPECT_FALSE(clients.timeouts.back().has_value());
}

TEST_F(FanBoostHostTests, HeartbeatsEveryFiveSecondsKeepTheBoost) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    for (double time = 6.0; time <= 41.0; time += 5.0) {
        clients.request(time, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    }
    clients.shutdown(41.5);
    run();
    ASSERT_FALSE(tickTimes.empty());
    EXPECT_EQ(tickTimes.back(), 41.0);
    const FanBoostStatus status = lastReply(1);
    EXPECT_TRUE(status.enabled);
    EXPECT_TRUE(status.boosting);
    EXPECT_EQ(clients.replies.at(1).size(), 9u);
}

TEST_F(FanBoostHostTests, AHostHeldUpTicksOnceWhenItResumesNotOnceForEveryMissedSecond) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.perform(3.5, [this] { clients.now += 10.0; });
    clients.request(14.0, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    clients.shutdown(15.0);
    run();
    EXPECT_EQ(tickTimes, (std::vector<double>{1.0, 2.0, 3.0, 13.5, 14.5}));
}

TEST_F(FanBoostHostTests, EachConnectionIsAClientOfItsOwnSoASecondBeginIsRefused) {
    clients.connect(0.0, 1);
    clients.connect(0.0, 2);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.request(2.0, 2, Operation::begin, eighty);
    clients.request(3.0, 2, Operation::stop, FanBoostRequest::stop());
    clients.request(4.0, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    clients.shutdown(5.0);
    run();
    const FanBoostStatus refused = FanBoostStatus::fromJSON(clients.replies.at(2).front());
    EXPECT_FALSE(refused.enabled);
    EXPECT_EQ(refused.error, FanBoostSession::busyMessage);
    // The other client's stop is not the owner's.
    EXPECT_TRUE(lastReply(1).enabled);
    EXPECT_TRUE(lastReply(1).boosting);
}

TEST_F(FanBoostHostTests, AClosedConnectionStopsItsOwnersBoostAndNoOneElses) {
    clients.connect(0.0, 1);
    clients.connect(0.0, 2);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.disconnect(2.0, 2);
    clients.perform(2.5, [this] { EXPECT_TRUE(mac.smc.state.anyFanForced()); });
    clients.disconnect(3.0, 1);
    clients.shutdown(10.0);
    run();
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    ASSERT_FALSE(tickTimes.empty());
    EXPECT_EQ(tickTimes.back(), 2.0);
    ASSERT_FALSE(clients.timeouts.empty());
    EXPECT_FALSE(clients.timeouts.back().has_value());
}

TEST_F(FanBoostHostTests, AShutdownEndsTheBoostAndGivesTheFansBack) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.shutdown(2.5);
    const FanBoostStatus final = run();
    EXPECT_FALSE(final.enabled);
    EXPECT_FALSE(final.restorationPending);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
}

TEST_F(FanBoostHostTests, AShutdownThatCannotGiveTheFansBackSaysSoAndKeepsTheFlag) {
    clients.connect(0.0, 1);
    clients.request(1.0, 1, Operation::begin, eighty);
    clients.perform(2.5, [this] { mac.smc.failModeWrites(); });
    clients.shutdown(2.5);
    const FanBoostStatus final = run();
    EXPECT_TRUE(final.restorationPending);
    EXPECT_EQ(final.error, FanBoostSession::restoreFailedMessage);
    EXPECT_TRUE(mac.smc.state.anyFanForced());
    EXPECT_TRUE(journal.pending);
}

TEST_F(FanBoostHostTests, APendingRestorationIsRetriedEverySecondUntilItSucceeds) {
    mac.smc.state.forceFansToMaximum();
    journal.pending = true;
    mac.smc.failModeWrites();
    clients.perform(3.5, [this] { mac.smc.clearFaults(); });
    clients.connect(10.0, 1);
    clients.request(10.0, 1, Operation::heartbeat, FanBoostRequest::heartbeat());
    clients.shutdown(11.0);
    run();
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    // Retried at 1, 2 and 3 in vain (the faults go at 3.5), then at 4 with success; idle since.
    EXPECT_EQ(clients.timeouts, (std::vector<std::optional<double>>{1.0, 1.0, 1.0, 1.0, 0.5,
                                                                    std::nullopt, std::nullopt}));
    const FanBoostStatus status = lastReply(1);
    EXPECT_FALSE(status.restorationPending);
    EXPECT_EQ(status.error, FanBoostSession::restoreFailedMessage);
}

}  // namespace
}  // namespace tallowbeck
