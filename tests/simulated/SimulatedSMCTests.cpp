#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <string>

#include "tests/simulated/SimulatedSMC.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck::testing {
namespace {

struct Exchange {
    std::int32_t status = 0;
    std::size_t outputSize = 0;
    SMCKeyData output;
};

Exchange exchange(SimulatedSMC& smc, SMCUserClient::Connection connection,
                  const SMCKeyData& input) {
    const SMCKeyData::Bytes request = input.toBytes();
    SMCKeyData::Bytes reply{};
    std::size_t outputSize = reply.size();
    const std::int32_t status = smc.callStructMethod(connection, SMCKeyData::structMethodSelector,
                                                     request, reply, outputSize);
    return {.status = status, .outputSize = outputSize, .output = SMCKeyData::fromBytes(reply)};
}

SMCKeyData readRequest(std::string_view key, std::uint32_t size) {
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::readBytesCommand);
    input.dataSize = size;
    return input;
}

SMCKeyData writeRequest(std::string_view key, std::span<const std::uint8_t> value) {
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::writeBytesCommand);
    input.dataSize = static_cast<std::uint32_t>(value.size());
    std::ranges::copy(value, input.bytes.begin());
    return input;
}

class SimulatedSMCTests : public ::testing::Test {
protected:
    Exchange call(const SMCKeyData& input) { return exchange(smc, connection, input); }

    SimulatedSMC smc;
    SMCUserClient::Connection connection = smc.open().connection;
};

TEST_F(SimulatedSMCTests, KeyInfoGivesTheFirmwaresTypesAndSizes) {
    const Exchange count = call(SMCKeyData::request("FNum", SMCKeyData::readKeyInfoCommand));
    EXPECT_EQ(count.output.dataType, fourCharCode("ui8 "));
    EXPECT_EQ(count.output.dataSize, 1u);
    const Exchange target = call(SMCKeyData::request("F1Tg", SMCKeyData::readKeyInfoCommand));
    EXPECT_EQ(target.output.dataType, fourCharCode("flt "));
    EXPECT_EQ(target.output.dataSize, 4u);
    const Exchange die = call(SMCKeyData::request("Tp0b", SMCKeyData::readKeyInfoCommand));
    EXPECT_EQ(die.output.dataType, fourCharCode("flt "));
    EXPECT_EQ(die.output.result, 0);
    EXPECT_EQ(die.outputSize, SMCKeyData::size);
}

TEST_F(SimulatedSMCTests, AnUnknownKeyAnswersKeyNotFound) {
    EXPECT_EQ(call(SMCKeyData::request("F2Ac", SMCKeyData::readKeyInfoCommand)).output.result,
              SimulatedSMC::keyNotFoundResult);
}

TEST_F(SimulatedSMCTests, AReadMustAskForTheKeysSize) {
    EXPECT_EQ(call(readRequest("F0Md", 4)).output.result, SimulatedSMC::keySizeMismatchResult);
    EXPECT_EQ(call(readRequest("F0Mx", 4)).output.floatValue(), 5779.0F);
}

TEST_F(SimulatedSMCTests, OnlyModeAndTargetKeysOfExistingFansAreWritable) {
    const std::array<std::uint8_t, 1> one{1};
    EXPECT_EQ(call(writeRequest("FNum", one)).output.result, SimulatedSMC::keyNotWritableResult);
    EXPECT_EQ(call(writeRequest("F2Md", one)).output.result, SimulatedSMC::keyNotFoundResult);
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(3000.0F);
    EXPECT_EQ(call(writeRequest("F0Ac", bytes)).output.result, SimulatedSMC::keyNotWritableResult);
    EXPECT_EQ(call(writeRequest("F0Md", bytes)).output.result, SimulatedSMC::keySizeMismatchResult);
    EXPECT_FALSE(smc.state.fans[0].forced);
    EXPECT_EQ(call(writeRequest("F0Md", one)).output.result, 0);
    EXPECT_TRUE(smc.state.fans[0].forced);
    EXPECT_EQ(smc.writtenKeys(),
              (std::vector<std::string>{"FNum", "F2Md", "F0Ac", "F0Md", "F0Md"}));
}

TEST_F(SimulatedSMCTests, ActualSpeedsFollowTheirTargetsAsTheClockRuns) {
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(3000.0F);
    const std::array<std::uint8_t, 1> one{1};
    call(writeRequest("F0Md", one));
    call(writeRequest("F0Tg", bytes));
    smc.advance(1.0);
    EXPECT_EQ(smc.state.fans[0].actualRPM, 1000.0);
    smc.advance(5.0);
    EXPECT_EQ(smc.state.fans[0].actualRPM, 3000.0);
    EXPECT_EQ(smc.state.fans[1].actualRPM, 0.0);
    EXPECT_EQ(smc.state.clock, 6.0);
}

TEST_F(SimulatedSMCTests, TheFirmwareIgnoresATargetWrittenToAnAutomaticFan) {
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(3000.0F);
    call(writeRequest("F1Tg", bytes));
    EXPECT_EQ(smc.state.fans[1].targetRPM, 3000.0);
    smc.advance(0.5);
    EXPECT_EQ(smc.state.fans[1].targetRPM, 0.0);
}

TEST_F(SimulatedSMCTests, AForcedFanCanBeSilentlyHandedBackAFewCallsLater) {
    smc.revertForcedModeAfter(2);
    const std::array<std::uint8_t, 1> one{1};
    EXPECT_EQ(call(writeRequest("F1Md", one)).output.result, 0);
    call(readRequest("F1Md", 1));
    EXPECT_EQ(call(readRequest("F1Md", 1)).output.bytes[0], 1);
    EXPECT_EQ(call(readRequest("F1Md", 1)).output.bytes[0], 0);
}

TEST_F(SimulatedSMCTests, InjectedFaultsHitTheChosenCalls) {
    smc.addFault({.fault = SimulatedSMC::Fault::callStatus, .key = "F0Ac", .skip = 1});
    smc.addFault(
        {.fault = SimulatedSMC::Fault::outputSize, .command = SMCKeyData::readKeyInfoCommand});
    EXPECT_EQ(call(readRequest("F0Ac", 4)).status, 0);
    EXPECT_EQ(call(readRequest("F0Ac", 4)).status, SimulatedSMC::injectedStatus);
    EXPECT_EQ(call(readRequest("F0Ac", 4)).status, 0);
    const Exchange truncated = call(SMCKeyData::request("F0Ac", SMCKeyData::readKeyInfoCommand));
    EXPECT_EQ(truncated.status, 0);
    EXPECT_LT(truncated.outputSize, SMCKeyData::size);
    EXPECT_EQ(call(SMCKeyData::request("F0Ac", SMCKeyData::readKeyInfoCommand)).outputSize,
              SMCKeyData::size);
}

TEST_F(SimulatedSMCTests, AWriteWithABadResultByteChangesNothing) {
    smc.addFault({.fault = SimulatedSMC::Fault::resultByte});
    const std::array<std::uint8_t, 1> one{1};
    EXPECT_NE(call(writeRequest("F0Md", one)).output.result, 0);
    EXPECT_FALSE(smc.state.fans[0].forced);
}

TEST_F(SimulatedSMCTests, ACallOnAClosedConnectionFails) {
    smc.close(connection);
    EXPECT_EQ(call(readRequest("F0Ac", 4)).status, SimulatedSMC::notOpenStatus);
    EXPECT_EQ(smc.calls.size(), 1u);
}

TEST_F(SimulatedSMCTests, OpensCanBeMadeToFail) {
    smc.failOpens(SMCUserClient::Opening::Outcome::serviceMissing, 1);
    EXPECT_EQ(smc.open().outcome, SMCUserClient::Opening::Outcome::serviceMissing);
    EXPECT_EQ(smc.open().outcome, SMCUserClient::Opening::Outcome::opened);
}

TEST(SimulatedSMCStateTests, TheStateComesBackFromItsFile) {
    SimulatedSMCState state = SimulatedSMCState::twoFanMacBookPro(51.5F);
    state.fans[1].forced = true;
    state.fans[1].forcedByAnotherController = true;
    state.fans[1].targetRPM = 2500.0;
    state.temperatures["Tg0T"] = std::numeric_limits<float>::quiet_NaN();
    state.keyInfoOverrides["F0Md"] = {.type = "flt ", .size = 4};
    state.reportedFanCount = 3;
    state.clock = 12.5;
    const TemporaryDirectory directory;
    state.save(directory.path() / "fans.json");
    const SimulatedSMCState loaded = SimulatedSMCState::load(directory.path() / "fans.json");
    EXPECT_EQ(loaded.json(), state.json());
    EXPECT_TRUE(std::isnan(loaded.temperatures.at("Tg0T")));
    EXPECT_EQ(loaded.temperatures.at("Tp09"), 51.5F);
    EXPECT_EQ(loaded.keyInfoOverrides.at("F0Md").size, 4u);
    EXPECT_TRUE(loaded.fans[1].forcedByAnotherController);
}

}  // namespace
}  // namespace tallowbeck::testing
