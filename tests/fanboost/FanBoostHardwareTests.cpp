#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "tests/fakes/FakeSMC.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;
using testing::FakeSMC;
using testing::SimulatedMac;
using testing::SimulatedSMC;
using testing::thrown;
using Outcome = SMCUserClient::Opening::Outcome;

constexpr std::uint32_t floatType = fourCharCode("flt ");
constexpr std::uint32_t byteType = fourCharCode("ui8 ");

std::array<std::uint8_t, 4> floatBytes(float value) {
    return std::bit_cast<std::array<std::uint8_t, 4>>(value);
}

std::optional<Kind> failureOf(const std::function<void()>& operation) {
    const std::optional<FanBoostHardwareError> error = thrown<FanBoostHardwareError>(operation);
    return error ? std::optional(error->kind()) : std::nullopt;
}

// A controller that answers every read with the same values whatever is written: two fans in
// `mode`, each aiming `targetBelowMaximum` below its maximum of 5000 rpm.
struct FixedController {
    FixedController(std::uint8_t mode, float targetBelowMaximum) {
        smc.prepareKey("FNum", "ui8 ", 1, std::array<std::uint8_t, 1>{2});
        for (const char* fan : {"F0", "F1"}) {
            const std::string prefix(fan);
            smc.prepareFloatKey(prefix + "Ac", 5000.0F);
            smc.prepareFloatKey(prefix + "Mn", 1200.0F);
            smc.prepareFloatKey(prefix + "Mx", 5000.0F);
            smc.prepareFloatKey(prefix + "Tg", 5000.0F - targetBelowMaximum);
            smc.prepareKey(prefix + "Md", "ui8 ", 1, std::array<std::uint8_t, 1>{mode});
            smc.reply(prefix + "Tg", SMCKeyData::writeBytesCommand);
            smc.reply(prefix + "Md", SMCKeyData::writeBytesCommand);
        }
    }

    FakeSMC smc;
    testing::FakeSystemValues values = SimulatedMac::systemValues("MacBookPro18,1");
    testing::FakeProcessCredentials credentials;
    FanBoostHardware hardware{smc, values, credentials};
};

// --- decode ---

TEST(FanBoostHardwareTests, DecodeGivesTheByteOfAOneByteUnsignedValue) {
    const std::array<std::uint8_t, 1> one{1};
    const std::array<std::uint8_t, 1> highest{255};
    EXPECT_EQ(FanBoostHardware::decode(byteType, one), 1.0);
    EXPECT_EQ(FanBoostHardware::decode(byteType, highest), 255.0);
}

TEST(FanBoostHardwareTests, DecodeRefusesAnUnsignedValueOfAnyOtherLength) {
    const std::array<std::uint8_t, 2> two{1, 0};
    EXPECT_EQ(FanBoostHardware::decode(byteType, two), std::nullopt);
    EXPECT_EQ(FanBoostHardware::decode(byteType, {}), std::nullopt);
}

TEST(FanBoostHardwareTests, DecodeGivesAFourByteFloatFromZeroTo20000) {
    EXPECT_EQ(FanBoostHardware::decode(floatType, floatBytes(0.0F)), 0.0);
    EXPECT_EQ(FanBoostHardware::decode(floatType, floatBytes(5779.5F)), 5779.5);
    EXPECT_EQ(FanBoostHardware::decode(floatType, floatBytes(20000.0F)), 20000.0);
}

TEST(FanBoostHardwareTests, DecodeRefusesFloatsOutsideTheRangeAndNonFiniteOnes) {
    for (const float value : {20000.002F, -0.5F, std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(FanBoostHardware::decode(floatType, floatBytes(value)), std::nullopt) << value;
    }
}

TEST(FanBoostHardwareTests, DecodeRefusesAFloatOfThreeBytes) {
    const std::array<std::uint8_t, 4> bytes = floatBytes(1200.0F);
    EXPECT_EQ(FanBoostHardware::decode(floatType, std::span(bytes).first(3)), std::nullopt);
}

TEST(FanBoostHardwareTests, DecodeRefusesEveryOtherType) {
    const std::array<std::uint8_t, 1> one{1};
    EXPECT_EQ(FanBoostHardware::decode(fourCharCode("fpe2"), floatBytes(1200.0F)), std::nullopt);
    EXPECT_EQ(FanBoostHardware::decode(fourCharCode("ui16"), one), std::nullopt);
    EXPECT_EQ(FanBoostHardware::decode(fourCharCode("flag"), one), std::nullopt);
}

// --- readFans ---

TEST(FanBoostHardwareTests, ReadFansGivesBothFansAsTheControllerHoldsThem) {
    SimulatedMac mac;
    mac.smc.state.fans[0].actualRPM = 1310.0;
    mac.smc.state.fans[1].forced = true;
    mac.smc.state.fans[1].targetRPM = 3000.0;
    const std::vector<FanSpeed> fans = mac.hardware.readFans();
    ASSERT_EQ(fans.size(), 2u);
    EXPECT_EQ(fans[0], (FanSpeed{.id = 0,
                                 .actualRPM = 1310.0,
                                 .minimumRPM = 1200.0,
                                 .maximumRPM = 5779.0,
                                 .targetRPM = 0.0,
                                 .manual = false}));
    EXPECT_EQ(fans[1], (FanSpeed{.id = 1,
                                 .actualRPM = 0.0,
                                 .minimumRPM = 1200.0,
                                 .maximumRPM = 6241.0,
                                 .targetRPM = 3000.0,
                                 .manual = true}));
}

TEST(FanBoostHardwareTests, ReadFansReadsTheFanCountThenEachKeyOfFanZeroThenOfFanOne) {
    SimulatedMac mac;
    mac.hardware.readFans();
    std::vector<std::string> keys;
    for (const SimulatedSMC::Call& call : mac.smc.calls) {
        keys.push_back(testing::keyText(call.input.key) + "/" + std::to_string(call.input.command));
    }
    EXPECT_EQ(keys,
              (std::vector<std::string>{"FNum/9", "FNum/5", "F0Ac/9", "F0Ac/5", "F0Mn/9", "F0Mn/5",
                                        "F0Mx/9", "F0Mx/5", "F0Tg/9", "F0Tg/5", "F0Md/9", "F0Md/5",
                                        "F1Ac/9", "F1Ac/5", "F1Mn/9", "F1Mn/5", "F1Mx/9", "F1Mx/5",
                                        "F1Tg/9", "F1Tg/5", "F1Md/9", "F1Md/5"}));
}

TEST(FanBoostHardwareTests, AKeyIsReadWithTheSizeItsKeyInfoGave) {
    SimulatedMac mac;
    mac.hardware.readFans();
    for (const SimulatedSMC::Call& call : mac.smc.calls) {
        const std::string key = testing::keyText(call.input.key);
        const bool oneByte = key == "FNum" || key.ends_with("Md");
        SMCKeyData expected = SMCKeyData::request(key, call.input.command);
        if (call.input.command == SMCKeyData::readBytesCommand) {
            expected.dataSize = oneByte ? 1 : 4;
        }
        EXPECT_EQ(call.input.toBytes(), expected.toBytes()) << key;
        EXPECT_EQ(call.selector, SMCKeyData::structMethodSelector);
    }
}

TEST(FanBoostHardwareTests, AKeyOfAnySizeButOneOrFourIsAnInvalidReadingAndIsNotRead) {
    for (const std::uint32_t size : {0U, 2U, 3U, 8U}) {
        SimulatedMac mac;
        mac.smc.state.keyInfoOverrides["F1Mx"] = {.type = "flt ", .size = size};
        EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::invalidReading) << size;
        ASSERT_FALSE(mac.smc.calls.empty());
        EXPECT_EQ(mac.smc.calls.back().input.key, fourCharCode("F1Mx"));
        EXPECT_EQ(mac.smc.calls.back().input.command, SMCKeyData::readKeyInfoCommand);
    }
}

TEST(FanBoostHardwareTests, AFanKeyThatDoesNotDecodeIsAnInvalidReading) {
    SimulatedMac mac;
    mac.smc.state.keyInfoOverrides["F0Ac"] = {.type = "fpe2", .size = 4};
    EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::invalidReading);
}

TEST(FanBoostHardwareTests, AModeOtherThanZeroOrOneIsAnInvalidReading) {
    FixedController controller(2, 0.0F);
    EXPECT_EQ(failureOf([&] { controller.hardware.readFans(); }), Kind::invalidReading);
}

TEST(FanBoostHardwareTests, AFanCountOtherThanTwoMakesEveryFanOperationUnsupported) {
    for (const std::uint32_t count : {1U, 3U, 0U}) {
        SimulatedMac mac;
        mac.smc.state.reportedFanCount = count;
        EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::unsupported) << count;
        EXPECT_EQ(failureOf([&] { mac.hardware.setMaximum(); }), Kind::unsupported) << count;
        EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::unsupported) << count;
        EXPECT_EQ(mac.smc.writeCount(), 0u);
    }
}

TEST(FanBoostHardwareTests, AFanCountThatDoesNotDecodeIsUnsupported) {
    SimulatedMac mac;
    mac.smc.state.keyInfoOverrides["FNum"] = {.type = "si8 ", .size = 1};
    EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::unsupported);
}

TEST(FanBoostHardwareTests, AnAutomaticFanAimingBelowItsMinimumIsPlausible) {
    SimulatedMac mac;
    mac.smc.state.fans[0].targetRPM = 0.0;
    mac.smc.state.fans[0].minimumRPM = 1200.0;
    const std::vector<FanSpeed> fans = mac.hardware.readFans();
    ASSERT_FALSE(fans.empty());
    EXPECT_EQ(fans[0].targetRPM, 0.0);
}

TEST(FanBoostHardwareTests, AForcedFanAimingBelowItsMinimumIsAnInvalidReading) {
    SimulatedMac mac;
    mac.smc.forceByAnotherController(0, 0.0);
    EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::invalidReading);
}

TEST(FanBoostHardwareTests, AnImplausibleFanIsAnInvalidReading) {
    const std::vector<std::function<void(testing::SimulatedSMCState::Fan&)>> spoilers{
        [](auto& fan) { fan.minimumRPM = 499.0; },
        [](auto& fan) { fan.maximumRPM = 10000.5; },
        [](auto& fan) { fan.maximumRPM = fan.minimumRPM; },
        [](auto& fan) { fan.targetRPM = fan.maximumRPM + 1.0; },
    };
    for (std::size_t index = 0; index < spoilers.size(); ++index) {
        SimulatedMac mac;
        spoilers[index](mac.smc.state.fans[1]);
        EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::invalidReading) << index;
    }
}

TEST(FanBoostHardwareTests, AFailedCallIsRejected) {
    for (const SimulatedSMC::Fault fault :
         {SimulatedSMC::Fault::callStatus, SimulatedSMC::Fault::outputSize,
          SimulatedSMC::Fault::resultByte}) {
        SimulatedMac mac;
        mac.smc.addFault({.fault = fault, .key = "F0Tg", .command = SMCKeyData::readBytesCommand});
        EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::rejected);
        EXPECT_TRUE(mac.smc.openConnections.empty());
    }
}

TEST(FanBoostHardwareTests, ReadFansDoesNotCareWhoTheProcessIs) {
    SimulatedMac mac;
    mac.credentials.effectiveUser = 501;
    EXPECT_EQ(mac.hardware.readFans().size(), 2u);
}

// --- the model gate and the controller ---

TEST(FanBoostHardwareTests, EveryModelOfTheListIsSupported) {
    for (const char* model :
         {"MacBookPro18,1", "MacBookPro18,2", "MacBookPro18,3", "MacBookPro18,4"}) {
        SimulatedMac mac(testing::SimulatedSMCState::twoFanMacBookPro(), model);
        EXPECT_EQ(mac.hardware.readFans().size(), 2u) << model;
    }
}

TEST(FanBoostHardwareTests, AnyOtherModelMakesEveryOperationUnsupportedBeforeTheControllerOpens) {
    for (const char* model :
         {"MacBookPro18,5", "MacBookPro17,1", "MacBookPro18,3 ", "macbookpro18,3", "Mac14,6", ""}) {
        SimulatedMac mac(testing::SimulatedSMCState::twoFanMacBookPro(), model);
        mac.smc.state.forceFansToMaximum();
        EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::unsupported) << model;
        EXPECT_EQ(failureOf([&] { mac.hardware.setMaximum(); }), Kind::unsupported) << model;
        EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::unsupported) << model;
        EXPECT_EQ(mac.smc.openCount, 0u) << model;
    }
}

TEST(FanBoostHardwareTests, AnUnreadableModelIsUnsupported) {
    SimulatedMac mac;
    mac.values.readFails = true;
    EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::unsupported);
    EXPECT_EQ(mac.smc.openCount, 0u);
}

TEST(FanBoostHardwareTests, TheModelIsReadIntoAZeroed128ByteBufferAndCutAtItsFirstZero) {
    SimulatedMac mac;
    mac.values.values[SimulatedMac::modelName] = std::string("MacBookPro18,2\0junk", 19);
    EXPECT_EQ(mac.hardware.readFans().size(), 2u);
    EXPECT_EQ(mac.values.lastReadBufferSize, 128u);
    EXPECT_TRUE(mac.values.lastReadBufferZeroed);
}

TEST(FanBoostHardwareTests, AModelWithInvalidUTF8IsUnsupported) {
    SimulatedMac mac;
    mac.values.values[SimulatedMac::modelName] = std::string("MacBookPro18,\xFF") + '\0';
    EXPECT_EQ(failureOf([&] { mac.hardware.readFans(); }), Kind::unsupported);
}

TEST(FanBoostHardwareTests, AMissingServiceOrAFailedOpenIsUnavailable) {
    SimulatedMac missing;
    missing.smc.failOpens(Outcome::serviceMissing, std::nullopt);
    EXPECT_EQ(failureOf([&] { missing.hardware.readFans(); }), Kind::unavailable);

    SimulatedMac refusing;
    refusing.smc.failOpens(Outcome::openFailed, std::nullopt);
    const auto error = thrown<FanBoostHardwareError>([&] { refusing.hardware.readFans(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->kind(), Kind::unavailable);
    EXPECT_EQ(error->status(), SimulatedSMC::injectedStatus);
    EXPECT_EQ(refusing.smc.calls.size(), 0u);
}

TEST(FanBoostHardwareTests, EveryOperationClosesWhatItOpenedWhetherItSucceedsOrNot) {
    SimulatedMac mac;
    const std::vector<std::function<void()>> operations{
        [&] { mac.hardware.readFans(); }, [&] { mac.hardware.setMaximum(); },
        [&] { mac.hardware.restoreAutomatic(); }, [&] { mac.hardware.readChips(); }};
    for (const auto& operation : operations) {
        operation();
        EXPECT_TRUE(mac.smc.openConnections.empty());
    }
    mac.smc.addFault({.fault = SimulatedSMC::Fault::resultByte, .times = std::nullopt});
    for (const auto& operation : operations) {
        try {
            operation();
        } catch (const FanBoostHardwareError&) {
        }
        EXPECT_TRUE(mac.smc.openConnections.empty());
    }
    EXPECT_EQ(mac.smc.openCount, mac.smc.closeCount);
    EXPECT_GT(mac.smc.openCount, 8u);
}

// --- setMaximum ---

TEST(FanBoostHardwareTests, SetMaximumWritesEachTargetBeforeAndAfterForcingItsFan) {
    SimulatedMac mac;
    mac.hardware.setMaximum();
    EXPECT_EQ(mac.smc.writtenKeys(),
              (std::vector<std::string>{"F0Tg", "F0Md", "F0Tg", "F1Tg", "F1Md", "F1Tg"}));
    for (const auto& fan : mac.smc.state.fans) {
        EXPECT_TRUE(fan.forced);
        EXPECT_EQ(fan.targetRPM, fan.maximumRPM);
    }
}

TEST(FanBoostHardwareTests, SetMaximumReadsTheFansBeforeAndAfterItsWrites) {
    SimulatedMac mac;
    mac.hardware.setMaximum();
    // A read of the fans takes 22 calls; each target write reads the key info first (1 + 1) and
    // each mode change reads the mode first (2 + 1).
    EXPECT_EQ(mac.smc.calls.size(), 22u + 2 * (2 + 3 + 2) + 22u);
    EXPECT_EQ(mac.smc.openCount, 3u);
}

TEST(FanBoostHardwareTests, SetMaximumOnForcedFansWritesTheTargetsButNotTheModes) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.hardware.setMaximum();
    EXPECT_EQ(mac.smc.writtenKeys(), (std::vector<std::string>{"F0Tg", "F0Tg", "F1Tg", "F1Tg"}));
}

TEST(FanBoostHardwareTests, SetMaximumWithoutSuperuserRightsIsRejectedBeforeAnythingHappens) {
    SimulatedMac mac;
    mac.credentials.effectiveUser = 501;
    const int readsBefore = mac.values.reads;
    EXPECT_EQ(failureOf([&] { mac.hardware.setMaximum(); }), Kind::rejected);
    EXPECT_EQ(mac.smc.openCount, 0u);
    EXPECT_EQ(mac.values.reads, readsBefore);
}

TEST(FanBoostHardwareTests, SetMaximumStopsAtTheFirstFailedWriteAndLeavesTheFansAsFarAsItGot) {
    SimulatedMac mac;
    mac.smc.addFault({.fault = SimulatedSMC::Fault::callStatus,
                      .key = "F1Md",
                      .command = SMCKeyData::writeBytesCommand});
    EXPECT_EQ(failureOf([&] { mac.hardware.setMaximum(); }), Kind::rejected);
    EXPECT_EQ(mac.smc.writtenKeys(),
              (std::vector<std::string>{"F0Tg", "F0Md", "F0Tg", "F1Tg", "F1Md"}));
    EXPECT_TRUE(mac.smc.state.fans[0].forced);
    EXPECT_FALSE(mac.smc.state.fans[1].forced);
    EXPECT_TRUE(mac.smc.openConnections.empty());
}

TEST(FanBoostHardwareTests, SetMaximumWritesMaximaAtTheEdgesOfTheWritableTargets) {
    SimulatedMac mac;
    mac.smc.state.fans[0].maximumRPM = 10000.0;
    mac.smc.state.fans[1].minimumRPM = 500.0;
    mac.smc.state.fans[1].maximumRPM = 520.0;
    mac.hardware.setMaximum();
    EXPECT_EQ(mac.smc.state.fans[0].targetRPM, 10000.0);
    EXPECT_EQ(mac.smc.state.fans[1].targetRPM, 520.0);
}

TEST(FanBoostHardwareTests, SetMaximumCatchesFirmwareThatSilentlyTakesTheFansBack) {
    SimulatedMac mac;
    mac.smc.revertForcedModeAfter(2);
    EXPECT_EQ(failureOf([&] { mac.hardware.setMaximum(); }), Kind::rejected);
    EXPECT_FALSE(mac.smc.state.fans[0].forced);
}

TEST(FanBoostHardwareTests, SetMaximumAcceptsATargetHalfAnRPMBelowTheMaximum) {
    FixedController controller(1, 0.5F);
    EXPECT_NO_THROW(controller.hardware.setMaximum());
}

TEST(FanBoostHardwareTests, SetMaximumRejectsATargetOneRPMBelowTheMaximum) {
    FixedController controller(1, 1.0F);
    EXPECT_EQ(failureOf([&] { controller.hardware.setMaximum(); }), Kind::rejected);
}

// --- restoreAutomatic ---

TEST(FanBoostHardwareTests, RestoreAutomaticHandsBothFansBack) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.hardware.restoreAutomatic();
    EXPECT_EQ(mac.smc.writtenKeys(), (std::vector<std::string>{"F0Md", "F1Md"}));
    for (const auto& fan : mac.smc.state.fans) {
        EXPECT_FALSE(fan.forced);
    }
}

TEST(FanBoostHardwareTests, RestoringFansThatAreAlreadyAutomaticSendsNoWrite) {
    SimulatedMac mac;
    mac.hardware.restoreAutomatic();
    EXPECT_EQ(mac.smc.writeCount(), 0u);
}

TEST(FanBoostHardwareTests, RestoreAutomaticTriesTheSecondFanWhenTheFirstFails) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.smc.addFault({.fault = SimulatedSMC::Fault::resultByte,
                      .key = "F0Md",
                      .command = SMCKeyData::writeBytesCommand});
    EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::rejected);
    EXPECT_EQ(mac.smc.writtenKeys(), (std::vector<std::string>{"F0Md", "F1Md"}));
    EXPECT_TRUE(mac.smc.state.fans[0].forced);
    EXPECT_FALSE(mac.smc.state.fans[1].forced);
}

TEST(FanBoostHardwareTests, RestoreAutomaticFailsWhenTheModeWasWrittenButTheReplyWasLost) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.smc.addFault({.fault = SimulatedSMC::Fault::outputSize,
                      .key = "F1Md",
                      .command = SMCKeyData::writeBytesCommand});
    EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::rejected);
    EXPECT_FALSE(mac.smc.state.fans[1].forced);
}

TEST(FanBoostHardwareTests, RestoreAutomaticFailsWhenAFanStaysForced) {
    FixedController controller(1, 0.0F);
    EXPECT_EQ(failureOf([&] { controller.hardware.restoreAutomatic(); }), Kind::rejected);
    EXPECT_EQ(controller.smc.callCount("F0Md"), 2u + 1u + 2u);
}

TEST(FanBoostHardwareTests, RestoreAutomaticWithoutSuperuserRightsIsRejectedBeforeAnythingHappens) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.credentials.effectiveUser = 501;
    const int readsBefore = mac.values.reads;
    EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::rejected);
    EXPECT_EQ(mac.smc.openCount, 0u);
    EXPECT_EQ(mac.values.reads, readsBefore);
    EXPECT_TRUE(mac.smc.state.fans[0].forced);
}

TEST(FanBoostHardwareTests, RestoreAutomaticPassesOnAFailedReadBack) {
    SimulatedMac mac;
    mac.smc.state.forceFansToMaximum();
    mac.smc.state.keyInfoOverrides["F1Ac"] = {.type = "ui16", .size = 2};
    EXPECT_EQ(failureOf([&] { mac.hardware.restoreAutomatic(); }), Kind::invalidReading);
}

// --- readChips ---

TEST(FanBoostHardwareTests, ReadChipsGivesTheHottestDieTemperaturesDatedByTheWallClock) {
    SimulatedMac mac;
    mac.smc.setTemperatures(61.5F, 48.25F);
    mac.smc.state.temperatures["Tp0X"] = 70.5F;
    mac.clock.set(1'800'000'000.0);
    const ChipTemperatureReading reading = mac.hardware.readChips();
    EXPECT_EQ(reading,
              (ChipTemperatureReading{
                  .recordedAt = 1'800'000'000.0, .cpuCelsius = 70.5, .gpuCelsius = 48.25}));
    EXPECT_TRUE(mac.smc.openConnections.empty());
}

TEST(FanBoostHardwareTests, ReadChipsReadsNothingOnAChipOutsideTheList) {
    SimulatedMac mac;
    mac.values.values[SimulatedMac::brandStringName] = std::string("Apple M2 Pro") + '\0';
    FanBoostHardware hardware(mac.smc, mac.values, mac.credentials, mac.clock.function());
    const ChipTemperatureReading reading = hardware.readChips();
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(mac.smc.openCount, 0u);
}

TEST(FanBoostHardwareTests, ReadChipsDoesNotDependOnTheModel) {
    SimulatedMac mac(testing::SimulatedSMCState::twoFanMacBookPro(55.0F), "Mac14,6");
    EXPECT_EQ(mac.hardware.readChips().cpuCelsius, 55.0);
}

}  // namespace
}  // namespace tallowbeck
