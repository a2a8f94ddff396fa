#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/platform/linux/LinuxSMCUserClient.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "TallowbeckCore/temperature/SMCConnection.hpp"
#include "tests/fakes/FakeSystemValues.hpp"

namespace tallowbeck {
namespace {

using Outcome = SMCUserClient::Opening::Outcome;
using testing::FakeSystemValues;

TEST(LinuxSMCUserClientTests, OpeningFindsNoService) {
    LinuxSMCUserClient smc;
    const SMCUserClient::Opening opening = smc.open();
    EXPECT_EQ(opening.outcome, Outcome::serviceMissing);
    EXPECT_EQ(opening.status, IOReturn::success);
    EXPECT_FALSE(SMCConnection::open(smc).has_value());
}

TEST(LinuxSMCUserClientTests, ACallFailsAndWritesNothing) {
    LinuxSMCUserClient smc;
    const SMCKeyData::Bytes input = SMCKeyData::request("Tp09", 9).toBytes();
    SMCKeyData::Bytes output{};
    output.fill(std::byte{0x5A});
    std::size_t outputSize = output.size();
    EXPECT_NE(smc.callStructMethod(1, 2, input, output, outputSize), IOReturn::success);
    EXPECT_EQ(outputSize, 0u);
    for (const std::byte byte : output) {
        EXPECT_EQ(byte, std::byte{0x5A});
    }
    smc.close(std::numeric_limits<SMCUserClient::Connection>::max());
}

TEST(LinuxSMCUserClientTests, ASupportedChipSensorReadsNoTemperatures) {
    FakeSystemValues values;
    values.values["machdep.cpu.brand_string"] = std::string("Apple M1 Max\0", 13);
    const SMCChipTemperatureSensor sensor(values);
    ASSERT_TRUE(sensor.supported);
    LinuxSMCUserClient smc;
    const ChipTemperatureReading reading = sensor.readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
}

TEST(LinuxSMCUserClientTests, SystemIsOneLinuxInstance) {
    SMCUserClient& first = SMCUserClient::system();
    EXPECT_NE(dynamic_cast<LinuxSMCUserClient*>(&first), nullptr);
    EXPECT_EQ(&first, &SMCUserClient::system());
}

}  // namespace
}  // namespace tallowbeck
