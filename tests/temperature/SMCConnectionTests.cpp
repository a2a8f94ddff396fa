#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "TallowbeckCore/temperature/SMCConnection.hpp"
#include "tests/fakes/FakeSMC.hpp"

namespace tallowbeck {
namespace {

using testing::FakeSMC;
using Outcome = SMCUserClient::Opening::Outcome;

constexpr std::int32_t failedCallStatus = static_cast<std::int32_t>(0xE00002C2u);

// The output of one call, or nothing when it failed.
std::optional<SMCKeyData> answerTo(const SMCConnection& connection, const SMCKeyData& input) {
    SMCKeyData output;
    if (!connection.call(input, output)) {
        return std::nullopt;
    }
    return output;
}

SMCConnection openedConnection(FakeSMC& smc) {
    std::optional<SMCConnection> connection = SMCConnection::open(smc);
    EXPECT_TRUE(connection.has_value());
    return std::move(*connection);
}

TEST(SMCConnectionTests, OpenGivesNothingWhenTheServiceIsMissing) {
    FakeSMC smc;
    smc.opening = {.outcome = Outcome::serviceMissing, .connection = 0, .status = 0};
    EXPECT_FALSE(SMCConnection::open(smc).has_value());
    EXPECT_EQ(smc.openCount, 1);
    EXPECT_TRUE(smc.closedConnections.empty());
}

TEST(SMCConnectionTests, OpenGivesNothingWhenTheOpenFails) {
    FakeSMC smc;
    smc.opening = {.outcome = Outcome::openFailed, .connection = 0, .status = failedCallStatus};
    EXPECT_FALSE(SMCConnection::open(smc).has_value());
    EXPECT_TRUE(smc.closedConnections.empty());
}

TEST(SMCConnectionTests, TheConnectionIsClosedExactlyOnceWhenItsOwnerGoesAway) {
    FakeSMC smc;
    {
        const std::optional<SMCConnection> connection = SMCConnection::open(smc);
        ASSERT_TRUE(connection.has_value());
        EXPECT_TRUE(smc.closedConnections.empty());
    }
    EXPECT_EQ(smc.closedConnections,
              std::vector<SMCUserClient::Connection>{FakeSMC::openedConnection});
}

TEST(SMCConnectionTests, AMovedConnectionIsClosedOnceByItsNewOwner) {
    FakeSMC smc;
    {
        SMCConnection first = openedConnection(smc);
        const SMCConnection second = std::move(first);
        EXPECT_TRUE(smc.closedConnections.empty());
    }
    EXPECT_EQ(smc.closedConnections.size(), 1u);
}

TEST(SMCConnectionTests, MoveAssignmentClosesTheConnectionItReplaces) {
    FakeSMC first;
    FakeSMC second;
    second.opening.connection = 9;
    {
        SMCConnection target = openedConnection(second);
        target = openedConnection(first);
        EXPECT_EQ(second.closedConnections, std::vector<SMCUserClient::Connection>{9});
        EXPECT_TRUE(first.closedConnections.empty());
        static_cast<void>(
            answerTo(target, SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand)));
        EXPECT_EQ(first.callCount(), 1u);
        EXPECT_EQ(second.callCount(), 0u);
    }
    EXPECT_EQ(first.closedConnections.size(), 1u);
    EXPECT_EQ(second.closedConnections.size(), 1u);
}

TEST(SMCConnectionTests, CallUsesSelectorTwoWithEightyByteBuffersAndAZeroedOutput) {
    FakeSMC smc;
    const SMCConnection connection = openedConnection(smc);
    SMCKeyData input = SMCKeyData::request("Tp0T", SMCKeyData::readBytesCommand);
    input.dataSize = 4;
    static_cast<void>(answerTo(connection, input));

    ASSERT_EQ(smc.callCount(), 1u);
    const FakeSMC::Call& call = smc.calls.front();
    EXPECT_EQ(call.connection, FakeSMC::openedConnection);
    EXPECT_EQ(call.selector, 2u);
    EXPECT_EQ(call.inputSize, 80u);
    EXPECT_EQ(call.outputCapacity, 80u);
    EXPECT_EQ(call.outputSizeOnEntry, 80u);
    EXPECT_TRUE(call.outputZeroedOnEntry);
    EXPECT_EQ(call.input.toBytes(), input.toBytes());
}

TEST(SMCConnectionTests, CallGivesTheControllersOutput) {
    FakeSMC smc;
    smc.prepareKey("F0Ac", "fpe2", 2, std::array<std::uint8_t, 2>{0x12, 0x34});
    const SMCConnection connection = openedConnection(smc);

    const auto info =
        answerTo(connection, SMCKeyData::request("F0Ac", SMCKeyData::readKeyInfoCommand));
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->dataSize, 2u);
    EXPECT_EQ(info->dataType, fourCharCode("fpe2"));

    const auto value =
        answerTo(connection, SMCKeyData::request("F0Ac", SMCKeyData::readBytesCommand));
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->bytes[0], 0x12);
    EXPECT_EQ(value->bytes[1], 0x34);
}

TEST(SMCConnectionTests, ACallIntoAnOutputZeroesItFirstAndTellsWhetherItWorked) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp09", 50.0f);
    const SMCConnection connection = openedConnection(smc);
    SMCKeyData output = SMCKeyData::request("FNum", SMCKeyData::writeBytesCommand);
    output.bytes.fill(0xAB);
    EXPECT_TRUE(
        connection.call(SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand), output));
    ASSERT_FALSE(smc.calls.empty());
    EXPECT_TRUE(smc.calls.front().outputZeroedOnEntry);
    EXPECT_EQ(output.dataType, fourCharCode("flt "));
    EXPECT_FALSE(
        connection.call(SMCKeyData::request("Tp0T", SMCKeyData::readKeyInfoCommand), output));
}

TEST(SMCConnectionTests, CallFailsOnAFailedCallStatus) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp09", 50.0f);
    smc.reply("Tp09", SMCKeyData::readKeyInfoCommand).callStatus = failedCallStatus;
    const SMCConnection connection = openedConnection(smc);
    EXPECT_FALSE(answerTo(connection, SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand)));
}

TEST(SMCConnectionTests, CallFailsWhenTheOutputSizeComesBackOtherThanEighty) {
    for (const std::size_t outputSize : {std::size_t{0}, std::size_t{79}, std::size_t{81}}) {
        FakeSMC smc;
        smc.prepareFloatKey("Tp09", 50.0f);
        smc.reply("Tp09", SMCKeyData::readKeyInfoCommand).outputSize = outputSize;
        const SMCConnection connection = openedConnection(smc);
        EXPECT_FALSE(
            answerTo(connection, SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand)))
            << outputSize;
    }
}

TEST(SMCConnectionTests, CallFailsOnANonZeroResultByte) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp09", 50.0f);
    smc.reply("Tp09", SMCKeyData::readKeyInfoCommand).result = 0x85;
    const SMCConnection connection = openedConnection(smc);
    EXPECT_FALSE(answerTo(connection, SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand)));
}

TEST(SMCConnectionTests, ReadKeyFloatAsksForTheKeyInfoAndThenForFourBytes) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp0D", 47.25f);
    const SMCConnection connection = openedConnection(smc);

    EXPECT_EQ(connection.readKeyFloat("Tp0D"), 47.25);

    ASSERT_EQ(smc.callCount(), 2u);
    SMCKeyData expectedInfoRequest;
    expectedInfoRequest.key = 0x54703044;
    expectedInfoRequest.command = 9;
    EXPECT_EQ(smc.calls[0].input.toBytes(), expectedInfoRequest.toBytes());
    SMCKeyData expectedReadRequest = expectedInfoRequest;
    expectedReadRequest.dataSize = 4;
    expectedReadRequest.command = 5;
    EXPECT_EQ(smc.calls[1].input.toBytes(), expectedReadRequest.toBytes());
}

TEST(SMCConnectionTests, ReadKeyFloatAcceptsValuesFromOneTo125Degrees) {
    for (const float celsius : {1.0f, 125.0f, 45.0f, 99.875f}) {
        FakeSMC smc;
        smc.prepareFloatKey("Tp09", celsius);
        const SMCConnection connection = openedConnection(smc);
        EXPECT_EQ(connection.readKeyFloat("Tp09"), static_cast<double>(celsius)) << celsius;
    }
}

TEST(SMCConnectionTests, ReadKeyFloatRejectsValuesOutsideTheRangeAndNonFiniteValues) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const float celsius :
         {0.5f, 125.25f, std::nextafter(1.0f, 0.0f), std::nextafter(125.0f, 200.0f), 0.0f, -40.0f,
          std::numeric_limits<float>::quiet_NaN(), infinity, -infinity}) {
        FakeSMC smc;
        smc.prepareFloatKey("Tp09", celsius);
        const SMCConnection connection = openedConnection(smc);
        EXPECT_EQ(connection.readKeyFloat("Tp09"), std::nullopt) << celsius;
        EXPECT_EQ(smc.callCount(), 2u);
    }
}

TEST(SMCConnectionTests, ReadKeyFloatDecodesNoOtherTypeEvenWithPlausibleBytes) {
    const auto plausibleBytes = std::bit_cast<std::array<std::uint8_t, 4>>(45.0f);
    for (const char* type : {"ui32", "fpe2", "sp78", "FLT ", "flt", "flt  ", "ioft"}) {
        FakeSMC smc;
        smc.prepareKey("Tp09", type, 4, plausibleBytes);
        const SMCConnection connection = openedConnection(smc);
        EXPECT_EQ(connection.readKeyFloat("Tp09"), std::nullopt) << type;
        EXPECT_EQ(smc.callCount(), 1u) << type;
    }
}

TEST(SMCConnectionTests, ReadKeyFloatNeedsADataSizeOfExactlyFour) {
    const auto plausibleBytes = std::bit_cast<std::array<std::uint8_t, 4>>(45.0f);
    for (const std::uint32_t size : {0u, 2u, 3u, 5u, 8u}) {
        FakeSMC smc;
        smc.prepareKey("Tp09", "flt ", size, plausibleBytes);
        const SMCConnection connection = openedConnection(smc);
        EXPECT_EQ(connection.readKeyFloat("Tp09"), std::nullopt) << size;
        EXPECT_EQ(smc.callCount(), 1u) << size;
    }
}

TEST(SMCConnectionTests, ReadKeyFloatGivesNothingForAKeyTheControllerDoesNotHave) {
    FakeSMC smc;
    const SMCConnection connection = openedConnection(smc);
    EXPECT_EQ(connection.readKeyFloat("Tp09"), std::nullopt);
    EXPECT_EQ(smc.callCount(), 1u);
}

TEST(SMCConnectionTests, ReadKeyFloatGivesNothingWhenReadingTheBytesFails) {
    const auto failures = std::array<void (*)(FakeSMC::Reply&), 3>{
        [](FakeSMC::Reply& reply) { reply.callStatus = failedCallStatus; },
        [](FakeSMC::Reply& reply) { reply.outputSize = 48; },
        [](FakeSMC::Reply& reply) { reply.result = 1; }};
    for (const auto& fail : failures) {
        FakeSMC smc;
        smc.prepareFloatKey("Tp09", 50.0f);
        fail(smc.reply("Tp09", SMCKeyData::readBytesCommand));
        const SMCConnection connection = openedConnection(smc);
        EXPECT_EQ(connection.readKeyFloat("Tp09"), std::nullopt);
        EXPECT_EQ(smc.callCount(), 2u);
    }
}

}  // namespace
}  // namespace tallowbeck
