#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "tests/fakes/FakeRecoveryJournal.hpp"
#include "tests/simulated/SimulatedMac.hpp"

namespace tallowbeck {
namespace {

using testing::FakeRecoveryJournal;
using testing::SimulatedMac;
using testing::SimulatedSMC;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const UUID owner = *UUID::fromText("6F1C2D3E-4A5B-4C6D-8E7F-8091A2B3C4D5");
const UUID otherClient = *UUID::fromText("0A0B0C0D-0E0F-4011-8213-141516171819");
const FanBoostConfiguration eighty{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0};

class FanBoostSessionTests : public ::testing::Test {
protected:
    FanBoostSession& session() {
        if (!session_) {
            session_ = std::make_unique<FanBoostSession>(
                mac.hardware, journal, [this] { return thermalState; }, mac.clock.function());
        }
        return *session_;
    }

    void setChips(float celsius) { mac.smc.setTemperatures(celsius, celsius); }

    // A boost begun at uptime 100 that holds the fans at maximum.
    void beginBoosting() {
        setChips(90.0F);
        session().begin(eighty, owner, 100.0);
        ASSERT_TRUE(session().status().boosting);
        ASSERT_TRUE(journal.pending);
    }

    SimulatedMac mac;
    FakeRecoveryJournal journal;
    SystemThermalState thermalState = SystemThermalState::nominal;

private:
    std::unique_ptr<FanBoostSession> session_;
};

void expectStatus(const FanBoostStatus& status, bool enabled, bool boosting,
                  bool restorationPending, std::optional<std::string_view> error) {
    EXPECT_EQ(status.enabled, enabled);
    EXPECT_EQ(status.boosting, boosting);
    EXPECT_EQ(status.restorationPending, restorationPending);
    EXPECT_EQ(status.error, error);
}

// --- construction ---

TEST_F(FanBoostSessionTests, ANewSessionIsIdleAndNeedsNoTick) {
    expectStatus(session().status(), false, false, false, std::nullopt);
    EXPECT_TRUE(session().status().fans.empty());
    EXPECT_FALSE(session().needsTick());
    EXPECT_EQ(mac.smc.openCount, 0u);
}

TEST_F(FanBoostSessionTests, APendingFlagAtConstructionRestoresTheFansAndSaysSo) {
    mac.smc.state.forceFansToMaximum();
    journal.pending = true;
    expectStatus(session().status(), false, false, false, FanBoostSession::recoveringMessage);
    EXPECT_FALSE(journal.pending);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AFailedRecoveryAtConstructionKeepsTheFlagAndReportsTheFansForced) {
    mac.smc.state.forceFansToMaximum();
    journal.pending = true;
    mac.smc.failModeWrites();
    expectStatus(session().status(), false, true, true, FanBoostSession::restoreFailedMessage);
    EXPECT_TRUE(journal.pending);
    EXPECT_TRUE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AFlagThatCannotBeClearedAtConstructionCountsAsAFailedRestore) {
    mac.smc.state.forceFansToMaximum();
    journal.pending = true;
    journal.everyChangeFails = true;
    expectStatus(session().status(), false, true, true, FanBoostSession::restoreFailedMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_TRUE(journal.pending);
}

// --- begin ---

TEST_F(FanBoostSessionTests, BeginOnCoolChipsLeavesTheFansAutomatic) {
    setChips(50.0F);
    const FanBoostStatus status = session().begin(eighty, owner, 100.0);
    expectStatus(status, true, false, false, std::nullopt);
    ASSERT_EQ(status.fans.size(), 2u);
    EXPECT_FALSE(status.fans[0].manual);
    EXPECT_EQ(mac.smc.writeCount(), 0u);
    EXPECT_TRUE(session().needsTick());
}

TEST_F(FanBoostSessionTests, BeginOnHotChipsForcesTheFansAtOnceAfterTheFlagIsDurable) {
    std::vector<bool> flagAtEachWrite;
    mac.smc.onWrite = [&](const SMCKeyData&) { flagAtEachWrite.push_back(journal.pending); };
    setChips(85.0F);
    const FanBoostStatus status = session().begin(eighty, owner, 100.0);
    expectStatus(status, true, true, false, std::nullopt);
    ASSERT_EQ(status.fans.size(), 2u);
    EXPECT_TRUE(status.fans[0].holdsMaximum());
    EXPECT_TRUE(status.fans[1].holdsMaximum());
    EXPECT_EQ(flagAtEachWrite, std::vector<bool>(6, true));
    EXPECT_EQ(journal.changes, std::vector<bool>{true});
}

TEST_F(FanBoostSessionTests, BeginUnderSeriousPressureForcesTheFansWithCoolChips) {
    setChips(45.0F);
    thermalState = SystemThermalState::serious;
    EXPECT_TRUE(session().begin(eighty, owner, 100.0).boosting);
}

TEST_F(FanBoostSessionTests, BeginWithThresholdsOutOfRangeIsRefusedAndChangesNothing) {
    beginBoosting();
    const std::size_t callsBefore = mac.smc.calls.size();
    const FanBoostStatus refused =
        session().begin({.cpuThresholdCelsius = 60.0, .gpuThresholdCelsius = 80.0}, owner, 101.0);
    expectStatus(refused, false, false, false, FanBoostSession::invalidThresholdsMessage);
    EXPECT_EQ(*refused.error,
              "Choose a fan boost temperature from 65 to 95 \xC2\xB0"
              "C.");
    expectStatus(session().status(), true, true, false, std::nullopt);
    EXPECT_EQ(mac.smc.calls.size(), callsBefore);
    session().tick(114.0);
    EXPECT_TRUE(session().status().enabled);
}

TEST_F(FanBoostSessionTests, BeginWithANonFiniteUptimeIsRefusedWithTheRangeMessage) {
    const FanBoostStatus refused = session().begin(eighty, owner, nan);
    expectStatus(refused, false, false, false, FanBoostSession::invalidThresholdsMessage);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, BeginByAnotherClientIsRefusedWhileAnOwnerIsPresent) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    const FanBoostStatus refused = session().begin(eighty, otherClient, 101.0);
    expectStatus(refused, false, false, false, FanBoostSession::busyMessage);
    expectStatus(session().status(), true, false, false, std::nullopt);
    session().stop(otherClient);
    EXPECT_TRUE(session().status().enabled);
}

TEST_F(FanBoostSessionTests, TheOwnerMayBeginAgainWithNewThresholdsWhileTheFansAreNotForced) {
    setChips(75.0F);
    session().begin(eighty, owner, 100.0);
    EXPECT_FALSE(session().status().boosting);
    const FanBoostStatus again =
        session().begin({.cpuThresholdCelsius = 70.0, .gpuThresholdCelsius = 70.0}, owner, 101.0);
    expectStatus(again, true, true, false, std::nullopt);
}

TEST_F(FanBoostSessionTests, EvenTheOwnersBeginIsRefusedWhileTheFansAreForced) {
    beginBoosting();
    const FanBoostStatus refused =
        session().begin({.cpuThresholdCelsius = 90.0, .gpuThresholdCelsius = 90.0}, owner, 101.0);
    expectStatus(refused, false, false, true, FanBoostSession::busyMessage);
    expectStatus(session().status(), true, true, false, std::nullopt);
    // The old thresholds still hold: 90 °C is above 80 but not above 90.
    session().tick(102.0);
    EXPECT_TRUE(session().status().boosting);
}

TEST_F(FanBoostSessionTests, BeginIsRefusedWhileARestorationIsPendingAndSaysSo) {
    mac.smc.state.forceFansToMaximum();
    journal.pending = true;
    mac.smc.failModeWrites();
    const FanBoostStatus before = session().status();
    const FanBoostStatus refused = session().begin(eighty, owner, 100.0);
    expectStatus(refused, false, false, true, FanBoostSession::busyMessage);
    // The refusal changes nothing: the restoration is still pending and still ticked for.
    const FanBoostStatus after = session().status();
    EXPECT_FALSE(after.enabled);
    EXPECT_EQ(after.boosting, before.boosting);
    EXPECT_TRUE(after.restorationPending);
    EXPECT_TRUE(journal.pending);
    EXPECT_TRUE(session().needsTick());
    EXPECT_TRUE(mac.smc.state.anyFanForced());
}

TEST_F(FanBoostSessionTests, BeginFindingAFanForcedByAnotherControllerIsUnavailable) {
    mac.smc.forceByAnotherController(1, 3000.0);
    const FanBoostStatus status = session().begin(eighty, owner, 100.0);
    expectStatus(status, false, false, false, FanBoostSession::unavailableMessage);
    EXPECT_TRUE(status.fans.empty());
    EXPECT_EQ(mac.smc.writeCount(), 0u);
    EXPECT_FALSE(session().needsTick());
    EXPECT_TRUE(mac.smc.state.fans[1].forced);
}

TEST_F(FanBoostSessionTests, BeginOnAMachineWhoseFansCannotBeReadIsUnavailable) {
    mac.smc.state.reportedFanCount = 3;
    const FanBoostStatus status = session().begin(eighty, owner, 100.0);
    expectStatus(status, false, false, false, FanBoostSession::unavailableMessage);
    expectStatus(session().status(), false, false, false, FanBoostSession::unavailableMessage);
}

// --- heartbeat and the lease ---

TEST_F(FanBoostSessionTests, AHeartbeatUnderFifteenSecondsRenewsTheLease) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    session().heartbeat(owner, 114.999);
    session().heartbeat(owner, 129.99);
    session().tick(144.0);
    expectStatus(session().status(), true, false, false, std::nullopt);
}

TEST_F(FanBoostSessionTests, AHeartbeatExactlyFifteenSecondsLateStopsWithoutAMessage) {
    beginBoosting();
    const FanBoostStatus status = session().heartbeat(owner, 115.0);
    expectStatus(status, false, false, false, std::nullopt);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AHeartbeatFromBeforeTheLastOneStops) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    session().heartbeat(owner, 99.5);
    EXPECT_FALSE(session().status().enabled);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AHeartbeatWithANaNUptimeStops) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    session().heartbeat(owner, nan);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AnotherClientsHeartbeatNeitherRenewsNorStops) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    const FanBoostStatus status = session().heartbeat(otherClient, 200.0);
    expectStatus(status, true, false, false, std::nullopt);
    session().heartbeat(otherClient, 110.0);
    session().tick(115.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::expiredMessage);
}

TEST_F(FanBoostSessionTests, ATickFindingTheLeaseLapsedStopsWithTheExpiredMessage) {
    beginBoosting();
    session().tick(115.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::expiredMessage);
    EXPECT_EQ(*session().status().error, "Fan Boost stopped because its connection expired.");
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
}

// --- stop ---

TEST_F(FanBoostSessionTests, StopByTheOwnerRestoresTheFansWithoutAMessage) {
    beginBoosting();
    session().stop(owner);
    expectStatus(session().status(), false, false, false, std::nullopt);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_EQ(journal.changes, (std::vector<bool>{true, false}));
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, StopByAnotherClientIsIgnored) {
    beginBoosting();
    session().stop(otherClient);
    expectStatus(session().status(), true, true, false, std::nullopt);
    EXPECT_TRUE(mac.smc.state.anyFanForced());
}

// --- tick ---

TEST_F(FanBoostSessionTests, ATickWhileForcedChecksTheFansWithoutWritingAgain) {
    beginBoosting();
    const std::size_t writes = mac.smc.writeCount();
    session().tick(101.0);
    session().tick(102.0);
    EXPECT_EQ(mac.smc.writeCount(), writes);
    expectStatus(session().status(), true, true, false, std::nullopt);
    EXPECT_EQ(journal.changes, std::vector<bool>{true});
}

TEST_F(FanBoostSessionTests, CoolingDownHandsTheFansBackAndClearsTheFlag) {
    beginBoosting();
    setChips(75.0F);
    session().tick(101.0);
    EXPECT_TRUE(session().status().boosting);
    setChips(71.5F);
    session().tick(102.0);
    expectStatus(session().status(), true, false, false, std::nullopt);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    EXPECT_FALSE(session().status().fans[1].manual);
}

TEST_F(FanBoostSessionTests, AStaleReadingStopsTheBoostAndRestoresTheFans) {
    beginBoosting();
    mac.clock.jumpAfterNextReading(10.5);
    session().tick(101.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::staleReadingsMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AMissingChipTemperatureStopsTheBoost) {
    beginBoosting();
    for (auto& [key, celsius] : mac.smc.state.temperatures) {
        if (key.starts_with("Tg")) {
            celsius = 0.5F;
        }
    }
    thermalState = SystemThermalState::critical;
    session().tick(101.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::staleReadingsMessage);
}

TEST_F(FanBoostSessionTests, FirmwareTakingAFanBackIsCaughtByTheNextTick) {
    // Late enough for the boost's own checks to pass, within the next tick's chip reading.
    mac.smc.revertForcedModeAfter(60);
    beginBoosting();
    session().tick(101.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::rejectedMessage);
    EXPECT_EQ(*session().status().error,
              "macOS rejected fan control. Fan Boost is restoring Automatic.");
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
}

TEST_F(FanBoostSessionTests, AnotherControllerForcingAFanEndsTheBoostAndIsLeftAlone) {
    setChips(50.0F);
    session().begin(eighty, owner, 100.0);
    mac.smc.forceByAnotherController(0, 4000.0);
    session().tick(101.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::rejectedMessage);
    EXPECT_TRUE(mac.smc.state.fans[0].forced);
    EXPECT_EQ(mac.smc.writeCount(), 0u);
}

TEST_F(FanBoostSessionTests, AFlagThatCannotBeMadeDurableMeansNoForcingWriteAtAll) {
    journal.failingChanges = 1;
    setChips(90.0F);
    const FanBoostStatus status = session().begin(eighty, owner, 100.0);
    expectStatus(status, false, false, false, FanBoostSession::rejectedMessage);
    EXPECT_EQ(mac.smc.writeCount(), 0u);
    EXPECT_FALSE(journal.pending);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AFailedForcingEndsTheBoostAndRestoresWhatWasForced) {
    mac.smc.addFault({.fault = SimulatedSMC::Fault::callStatus,
                      .key = "F1Md",
                      .command = SMCKeyData::writeBytesCommand});
    setChips(90.0F);
    session().begin(eighty, owner, 100.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::rejectedMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
}

TEST_F(FanBoostSessionTests, ARestoreThatKeepsFailingIsRetriedOnEveryTick) {
    beginBoosting();
    mac.smc.failModeWrites();
    session().stop(owner);
    for (double uptime = 101.0; uptime < 106.0; uptime += 1.0) {
        expectStatus(session().status(), false, true, true, FanBoostSession::restoreFailedMessage);
        EXPECT_TRUE(session().needsTick());
        const std::size_t writes = mac.smc.writeCount();
        session().tick(uptime);
        EXPECT_EQ(mac.smc.writeCount(), writes + 2);
    }
    EXPECT_TRUE(journal.pending);
    EXPECT_TRUE(mac.smc.state.anyFanForced());
}

TEST_F(FanBoostSessionTests, ASuccessfulRetryKeepsTheRetryMessage) {
    beginBoosting();
    mac.smc.failModeWrites();
    session().stop(owner);
    mac.smc.clearFaults();
    session().tick(101.0);
    expectStatus(session().status(), false, false, false, FanBoostSession::restoreFailedMessage);
    EXPECT_FALSE(mac.smc.state.anyFanForced());
    EXPECT_FALSE(journal.pending);
    EXPECT_FALSE(session().needsTick());
}

TEST_F(FanBoostSessionTests, AFailedRestoreWhenCoolingDownEndsTheBoostAndKeepsRetrying) {
    beginBoosting();
    mac.smc.failModeWrites();
    setChips(50.0F);
    session().tick(101.0);
    expectStatus(session().status(), false, true, true, FanBoostSession::restoreFailedMessage);
    EXPECT_TRUE(session().needsTick());
    EXPECT_EQ(session().begin(eighty, otherClient, 102.0).error, FanBoostSession::busyMessage);
}

TEST_F(FanBoostSessionTests, AnIdleTickWithoutAPendingFlagDoesNothing) {
    session().tick(100.0);
    EXPECT_EQ(mac.smc.openCount, 0u);
    expectStatus(session().status(), false, false, false, std::nullopt);
}

}  // namespace
}  // namespace tallowbeck
