#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/fanboost/SMCFanController.hpp"
#include "tests/fakes/FakeSystemValues.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/simulated/SimulatedSMC.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;
using testing::SimulatedMac;
using testing::SimulatedSMC;
using testing::thrown;

std::optional<Kind> failureOf(const std::function<void()>& operation) {
    const std::optional<FanBoostHardwareError> error = thrown<FanBoostHardwareError>(operation);
    return error ? std::optional(error->kind()) : std::nullopt;
}

struct OpenController {
    SimulatedSMC smc;
    testing::FakeSystemValues values = SimulatedMac::systemValues("MacBookPro18,3");
    SMCFanController controller = SMCFanController::open(smc, values);
};

// The 80 bytes a write of `value` to `key` must send: the key lowest byte first, the byte count
// at 28, command 6 at 42, the value from 48, and nothing else.
SMCKeyData::Bytes expectedWrite(std::string_view key, std::span<const std::uint8_t> value) {
    SMCKeyData::Bytes bytes{};
    const std::uint32_t code = fourCharCode(key);
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[index] = std::byte(static_cast<std::uint8_t>(code >> (8 * index)));
    }
    bytes[28] = std::byte(static_cast<std::uint8_t>(value.size()));
    bytes[42] = std::byte{6};
    for (std::size_t index = 0; index < value.size(); ++index) {
        bytes[48 + index] = std::byte{value[index]};
    }
    return bytes;
}

std::vector<SMCKeyData> writesOf(const SimulatedSMC& smc) {
    std::vector<SMCKeyData> writes;
    for (const SimulatedSMC::Call& call : smc.calls) {
        if (call.input.command == SMCKeyData::writeBytesCommand) {
            writes.push_back(call.input);
        }
    }
    return writes;
}

TEST(SMCFanControllerTests, AModeWriteSendsOneByteLaidOutAsTheStructureSays) {
    OpenController open;
    open.controller.setMode(1, true);
    const std::vector<SMCKeyData> writes = writesOf(open.smc);
    ASSERT_EQ(writes.size(), 1u);
    const std::array<std::uint8_t, 1> forced{1};
    EXPECT_EQ(writes[0].toBytes(), expectedWrite("F1Md", forced));
    EXPECT_EQ(writes[0].dataType, 0u);
    EXPECT_TRUE(open.smc.state.fans[1].forced);
}

TEST(SMCFanControllerTests, ATargetWriteSendsTheSpeedAsAFourByteFloat) {
    OpenController open;
    open.controller.setTarget(0, 5779.0);
    const std::vector<SMCKeyData> writes = writesOf(open.smc);
    ASSERT_EQ(writes.size(), 1u);
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(5779.0F);
    EXPECT_EQ(writes[0].toBytes(), expectedWrite("F0Tg", bytes));
    EXPECT_EQ(open.smc.state.fans[0].targetRPM, 5779.0);
}

TEST(SMCFanControllerTests, ATargetWriteReadsOnlyTheKeyInfoFirst) {
    OpenController open;
    open.controller.setTarget(1, 3000.0);
    ASSERT_EQ(open.smc.calls.size(), 2u);
    EXPECT_EQ(open.smc.calls[0].input.toBytes(),
              SMCKeyData::request("F1Tg", SMCKeyData::readKeyInfoCommand).toBytes());
}

TEST(SMCFanControllerTests, OnlyTheFourFanKeysCanBeWrittenAndOthersAreRefusedBeforeAnyCall) {
    OpenController open;
    const std::array<std::uint8_t, 1> one{1};
    for (const char* key :
         {"FNum", "F0Ac", "F0Mn", "F0Mx", "F2Md", "F2Tg", "FS! ", "F0md", "Tp09", "F0Md ", "F0M"}) {
        EXPECT_EQ(failureOf([&] { open.controller.writeKey(key, one); }), Kind::rejected) << key;
    }
    EXPECT_TRUE(open.smc.calls.empty());
    for (const char* key : {"F0Md", "F1Md"}) {
        open.controller.writeKey(key, one);
    }
    EXPECT_EQ(open.smc.writtenKeys(), (std::vector<std::string>{"F0Md", "F1Md"}));
}

TEST(SMCFanControllerTests, AFailedWriteIsRejected) {
    OpenController open;
    open.smc.addFault({.fault = SimulatedSMC::Fault::resultByte});
    const std::array<std::uint8_t, 1> one{1};
    EXPECT_EQ(failureOf([&] { open.controller.writeKey("F0Md", one); }), Kind::rejected);
}

TEST(SMCFanControllerTests, SettingAModeAlreadyInForceWritesNothing) {
    OpenController open;
    open.controller.setMode(0, false);
    open.smc.state.fans[1].forced = true;
    open.smc.state.fans[1].targetRPM = 3000.0;
    open.controller.setMode(1, true);
    EXPECT_EQ(open.smc.writeCount(), 0u);
    EXPECT_EQ(open.smc.calls.size(), 4u);
}

TEST(SMCFanControllerTests, AModeKeyOfAnotherTypeOrSizeIsUnsupportedAndNotWritten) {
    for (const auto& info : {testing::SimulatedSMCState::KeyInfo{.type = "flt ", .size = 4},
                             testing::SimulatedSMCState::KeyInfo{.type = "flag", .size = 1}}) {
        OpenController open;
        open.smc.state.keyInfoOverrides["F0Md"] = info;
        EXPECT_EQ(failureOf([&] { open.controller.setMode(0, true); }), Kind::unsupported);
        EXPECT_EQ(open.smc.writeCount(), 0u);
    }
}

TEST(SMCFanControllerTests, ATargetKeyOfAnotherTypeOrSizeIsUnsupportedAndNotWritten) {
    for (const auto& info : {testing::SimulatedSMCState::KeyInfo{.type = "fpe2", .size = 4},
                             testing::SimulatedSMCState::KeyInfo{.type = "flt ", .size = 1}}) {
        OpenController open;
        open.smc.state.keyInfoOverrides["F1Tg"] = info;
        EXPECT_EQ(failureOf([&] { open.controller.setTarget(1, 3000.0); }), Kind::unsupported);
        EXPECT_EQ(open.smc.writeCount(), 0u);
    }
}

TEST(SMCFanControllerTests, ATargetOutsideFiveHundredToTenThousandIsUnsupportedAndNotWritten) {
    OpenController open;
    for (const double rpm :
         {499.99, 10000.01, -1.0, std::numeric_limits<double>::quiet_NaN(),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(failureOf([&] { open.controller.setTarget(0, rpm); }), Kind::unsupported) << rpm;
    }
    EXPECT_EQ(open.smc.writeCount(), 0u);
    open.controller.setTarget(0, 500.0);
    open.controller.setTarget(1, 10000.0);
    EXPECT_EQ(open.smc.writeCount(), 2u);
}

TEST(SMCFanControllerTests, AFanIndexBeyondTheSecondIsUnsupportedWithoutAnyCall) {
    OpenController open;
    EXPECT_EQ(failureOf([&] { open.controller.setMode(2, true); }), Kind::unsupported);
    EXPECT_EQ(failureOf([&] { open.controller.setTarget(2, 3000.0); }), Kind::unsupported);
    EXPECT_TRUE(open.smc.calls.empty());
}

std::string messageOf(const std::function<void()>& operation) {
    const std::optional<FanBoostHardwareError> error = thrown<FanBoostHardwareError>(operation);
    return error ? error->what() : "";
}

TEST(SMCFanControllerTests, EachUnsupportedCauseIsNamedInTheMessage) {
    OpenController open;
    EXPECT_EQ(messageOf([&] { open.controller.setMode(2, true); }),
              "there is no fan 2, only fans 0 and 1 are driven");
    EXPECT_EQ(messageOf([&] { open.controller.setTarget(0, 12000.0); }),
              "the fan target 12000 rpm lies outside 500 to 10000 rpm");
    open.smc.state.keyInfoOverrides["F0Md"] = {.type = "flag", .size = 1};
    EXPECT_EQ(messageOf([&] { open.controller.setMode(0, true); }),
              R"(the fan key F0Md holds a 1-byte "flag" value where a 1-byte "ui8 " is expected)");
    open.smc.state.keyInfoOverrides["F1Tg"] = {.type = "fpe2", .size = 2};
    EXPECT_EQ(messageOf([&] { open.controller.setTarget(1, 3000.0); }),
              R"(the fan key F1Tg holds a 2-byte "fpe2" value where a 4-byte "flt " is expected)");
    open.smc.state.reportedFanCount = 3;
    EXPECT_EQ(messageOf([&] { open.controller.readFans(); }),
              "the fan count is 3 where machines with 2 fans are supported");
}

TEST(SMCFanControllerTests, AnUnsupportedModelIsNamedAsSuch) {
    SimulatedSMC smc;
    testing::FakeSystemValues values = SimulatedMac::systemValues("MacBookAir10,1");
    EXPECT_EQ(messageOf([&] { SMCFanController::open(smc, values); }),
              "this Mac model is not supported");
}

TEST(SMCFanControllerTests, ReadKeyGivesTheTypeAndTheValueBytes) {
    OpenController open;
    const SMCFanController::KeyValue count = open.controller.readKey("FNum");
    EXPECT_EQ(count.type, fourCharCode("ui8 "));
    EXPECT_EQ(std::vector(count.value().begin(), count.value().end()),
              std::vector<std::uint8_t>{2});
    const SMCFanController::KeyValue maximum = open.controller.readKey("F1Mx");
    EXPECT_EQ(maximum.type, fourCharCode("flt "));
    EXPECT_EQ(maximum.value().size(), 4u);
}

TEST(SMCFanControllerTests, AnUnknownKeyIsRejected) {
    OpenController open;
    EXPECT_EQ(failureOf([&] { open.controller.readKey("F7Ac"); }), Kind::rejected);
}

TEST(SMCFanControllerTests, TheConnectionClosesWhenTheControllerGoes) {
    SimulatedSMC smc;
    testing::FakeSystemValues values = SimulatedMac::systemValues("MacBookPro18,3");
    {
        const SMCFanController controller = SMCFanController::open(smc, values);
        EXPECT_EQ(smc.openConnections.size(), 1u);
    }
    EXPECT_TRUE(smc.openConnections.empty());
    EXPECT_EQ(smc.closeCount, 1u);
}

}  // namespace
}  // namespace tallowbeck
