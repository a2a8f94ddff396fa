#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "tests/fakes/FakeSMC.hpp"
#include "tests/fakes/FakeSystemValues.hpp"

namespace tallowbeck {
namespace {

using namespace std::string_literals;
using testing::FakeSMC;
using testing::FakeSystemValues;
using Outcome = SMCUserClient::Opening::Outcome;

constexpr const char* brandStringName = "machdep.cpu.brand_string";
constexpr std::int32_t failedCallStatus = static_cast<std::int32_t>(0xE00002C2u);

// System values whose brand string holds exactly `rawBytes`.
FakeSystemValues brandBytes(std::string rawBytes) {
    FakeSystemValues values;
    values.values[brandStringName] = std::move(rawBytes);
    return values;
}

SMCChipTemperatureSensor sensorForBrand(const std::string& brand) {
    FakeSystemValues values = brandBytes(brand + '\0');
    return SMCChipTemperatureSensor(values);
}

SMCChipTemperatureSensor supportedSensor() { return sensorForBrand("Apple M1 Max"); }

void prepareEveryKey(FakeSMC& smc, float celsius) {
    for (const std::string_view key : SMCChipTemperatureSensor::chipSensorCPUKeys) {
        smc.prepareFloatKey(key, celsius);
    }
    for (const std::string_view key : SMCChipTemperatureSensor::chipSensorGPUKeys) {
        smc.prepareFloatKey(key, celsius);
    }
}

// --- supported ---

TEST(SMCChipTemperatureSensorTests, EveryChipOfTheM1FamilyIsSupported) {
    for (const char* brand : {"Apple M1", "Apple M1 Pro", "Apple M1 Max", "Apple M1 Ultra"}) {
        EXPECT_TRUE(sensorForBrand(brand).supported) << brand;
    }
}

TEST(SMCChipTemperatureSensorTests, AnyOtherBrandIsNotSupported) {
    for (const char* brand :
         {"Apple M2", "Apple M3 Pro", "Apple M1 Pro ", " Apple M1", "apple m1", "APPLE M1 MAX",
          "Apple M1 Pro\n", "Apple M", "", "Intel(R) Core(TM) i7-9750H CPU @ 2.60GHz"}) {
        EXPECT_FALSE(sensorForBrand(brand).supported) << '"' << brand << '"';
    }
}

TEST(SMCChipTemperatureSensorTests, AnUnreadableBrandIsNotSupported) {
    FakeSystemValues values;
    EXPECT_FALSE(SMCChipTemperatureSensor(values).supported);
    values = brandBytes("Apple M1\0"s);
    values.lengthQueryFails = true;
    EXPECT_FALSE(SMCChipTemperatureSensor(values).supported);
}

TEST(SMCChipTemperatureSensorTests, TheBrandIsReadOnceAtConstruction) {
    FakeSystemValues values = brandBytes("Apple M1\0"s);
    const SMCChipTemperatureSensor sensor(values);
    EXPECT_EQ(values.lengthQueries, 1);
    EXPECT_EQ(values.reads, 1);
}

// --- readTemperatures when not supported ---

TEST(SMCChipTemperatureSensorTests, AnUnsupportedChipGivesAnEmptyReadingWithoutAnyCall) {
    for (const char* brand : {"Apple M1 Pro ", "Apple M2 Max"}) {
        FakeSMC smc;
        prepareEveryKey(smc, 50.0f);
        const SMCChipTemperatureSensor sensor = sensorForBrand(brand);
        const double before = WallClock::now();
        const ChipTemperatureReading reading = sensor.readTemperatures(smc);
        const double after = WallClock::now();

        EXPECT_EQ(reading.cpuCelsius, std::nullopt);
        EXPECT_EQ(reading.gpuCelsius, std::nullopt);
        EXPECT_GE(reading.recordedAt, before);
        EXPECT_LE(reading.recordedAt, after);
        EXPECT_EQ(smc.openCount, 0);
        EXPECT_EQ(smc.callCount(), 0u);
        EXPECT_TRUE(smc.closedConnections.empty());
    }
}

// --- readTemperatures when supported ---

TEST(SMCChipTemperatureSensorTests, EveryKeyIsReadWithTwoCallsOnOneConnection) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);

    EXPECT_EQ(reading.cpuCelsius, 50.0);
    EXPECT_EQ(reading.gpuCelsius, 50.0);
    EXPECT_EQ(smc.openCount, 1);
    EXPECT_EQ(smc.callCount(), 28u);
    std::vector<std::uint32_t> keysInOrder;
    for (const FakeSMC::Call& call : smc.calls) {
        EXPECT_EQ(call.connection, FakeSMC::openedConnection);
        if (call.input.command == SMCKeyData::readKeyInfoCommand) {
            keysInOrder.push_back(call.input.key);
        }
    }
    std::vector<std::uint32_t> expectedKeys;
    for (const std::string_view key : {"Tp09", "Tp0T", "Tp01", "Tp05", "Tp0D", "Tp0H", "Tp0L",
                                       "Tp0P", "Tp0X", "Tp0b", "Tg05", "Tg0D", "Tg0L", "Tg0T"}) {
        expectedKeys.push_back(fourCharCode(key));
        EXPECT_EQ(smc.callCount(key), 2u) << key;
    }
    EXPECT_EQ(keysInOrder, expectedKeys);
}

TEST(SMCChipTemperatureSensorTests, EveryKeyIsTriedWhenNoneIsValid) {
    FakeSMC smc;
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(smc.callCount(), 14u);
    EXPECT_EQ(smc.closedConnections.size(), 1u);
}

TEST(SMCChipTemperatureSensorTests, TheConnectionIsClosedOnceAfterTheLastKey) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    supportedSensor().readTemperatures(smc);
    EXPECT_EQ(smc.closedConnections,
              std::vector<SMCUserClient::Connection>{FakeSMC::openedConnection});
    EXPECT_EQ(smc.callCountAtLastClose, 28u);
}

TEST(SMCChipTemperatureSensorTests, TheReadingIsStampedWhenItIsCompleted) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    const SMCChipTemperatureSensor sensor = supportedSensor();
    const double before = WallClock::now();
    const ChipTemperatureReading reading = sensor.readTemperatures(smc);
    const double after = WallClock::now();
    EXPECT_GE(reading.recordedAt, before);
    EXPECT_LE(reading.recordedAt, after);
}

TEST(SMCChipTemperatureSensorTests, TheReadingIsDatedByTheGivenClockAfterItsLastKeyBeforeTheClose) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    std::size_t callsWhenDated = 0;
    std::size_t closesWhenDated = 0;
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc, [&] {
        callsWhenDated = smc.callCount();
        closesWhenDated = smc.closedConnections.size();
        return 1234.5;
    });
    EXPECT_EQ(reading.recordedAt, 1234.5);
    EXPECT_EQ(callsWhenDated, 28u);
    EXPECT_EQ(closesWhenDated, 0u);
    EXPECT_EQ(smc.closedConnections.size(), 1u);
}

TEST(SMCChipTemperatureSensorTests, TheHottestKeyOfEachGroupStandsForIt) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp09", 45.0f);
    smc.prepareFloatKey("Tp01", 61.5f);
    smc.prepareFloatKey("Tp05", 61.5f);
    smc.prepareFloatKey("Tg05", 38.0f);
    smc.prepareFloatKey("Tg0D", 52.25f);
    smc.prepareFloatKey("Tg0T", 40.0f);
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, 61.5);
    EXPECT_EQ(reading.gpuCelsius, 52.25);
}

TEST(SMCChipTemperatureSensorTests, TheLastKeyCanBeTheHottest) {
    FakeSMC smc;
    prepareEveryKey(smc, 40.0f);
    smc.prepareFloatKey("Tp0b", 88.0f);
    smc.prepareFloatKey("Tg0T", 77.0f);
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, 88.0);
    EXPECT_EQ(reading.gpuCelsius, 77.0);
}

TEST(SMCChipTemperatureSensorTests, NoValidGPUKeyLeavesOnlyTheCPUValue) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp0H", 55.5f);
    for (const std::string_view key : SMCChipTemperatureSensor::chipSensorGPUKeys) {
        smc.prepareFloatKey(key, 0.5f);
    }
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, 55.5);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(reading.hottestCelsius(), 55.5);
}

// Each way one key can fail, put on the hottest CPU key: only that value is lost, and every
// later key is still read.
TEST(SMCChipTemperatureSensorTests, AFailingKeyLosesOnlyItsOwnValue) {
    struct Failure {
        const char* name;
        std::function<void(FakeSMC&)> apply;
    };
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const auto info = [](FakeSMC& smc) -> FakeSMC::Reply& {
        return smc.reply("Tp0D", SMCKeyData::readKeyInfoCommand);
    };
    const auto read = [](FakeSMC& smc) -> FakeSMC::Reply& {
        return smc.reply("Tp0D", SMCKeyData::readBytesCommand);
    };
    const std::vector<Failure> failures{
        {"info call status", [&](FakeSMC& smc) { info(smc).callStatus = failedCallStatus; }},
        {"info output size", [&](FakeSMC& smc) { info(smc).outputSize = 79; }},
        {"info result byte", [&](FakeSMC& smc) { info(smc).result = 0x84; }},
        {"read call status", [&](FakeSMC& smc) { read(smc).callStatus = failedCallStatus; }},
        {"read output size", [&](FakeSMC& smc) { read(smc).outputSize = 81; }},
        {"read result byte", [&](FakeSMC& smc) { read(smc).result = 0x84; }},
        {"wrong size", [&](FakeSMC& smc) { info(smc).dataSize = 2; }},
        {"wrong type", [&](FakeSMC& smc) { info(smc).dataType = fourCharCode("sp78"); }},
        {"below range", [](FakeSMC& smc) { smc.prepareFloatKey("Tp0D", 0.5f); }},
        {"above range", [](FakeSMC& smc) { smc.prepareFloatKey("Tp0D", 125.25f); }},
        {"NaN", [=](FakeSMC& smc) { smc.prepareFloatKey("Tp0D", nan); }},
        {"infinity", [=](FakeSMC& smc) { smc.prepareFloatKey("Tp0D", infinity); }},
        {"unknown key", [](FakeSMC& smc) {
             smc.reply("Tp0D", SMCKeyData::readKeyInfoCommand) = {
                 .callStatus = 0,
                 .outputSize = 80,
                 .result = FakeSMC::unknownKeyResult,
                 .dataSize = 0,
                 .dataType = 0,
                 .bytes = {}};
         }}};
    for (const Failure& failure : failures) {
        FakeSMC smc;
        prepareEveryKey(smc, 40.0f);
        smc.prepareFloatKey("Tp0D", 90.0f);
        smc.prepareFloatKey("Tp0b", 55.0f);
        smc.prepareFloatKey("Tg0L", 47.0f);
        failure.apply(smc);

        const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
        EXPECT_EQ(reading.cpuCelsius, 55.0) << failure.name;
        EXPECT_EQ(reading.gpuCelsius, 47.0) << failure.name;
        EXPECT_EQ(smc.callCount("Tp0b"), 2u) << failure.name;
        EXPECT_EQ(smc.callCount("Tg0T"), 2u) << failure.name;
        EXPECT_EQ(smc.closedConnections.size(), 1u) << failure.name;
    }
}

TEST(SMCChipTemperatureSensorTests, TheBoundsThemselvesAreValidTemperatures) {
    FakeSMC smc;
    smc.prepareFloatKey("Tp09", 125.0f);
    smc.prepareFloatKey("Tg05", 1.0f);
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, 125.0);
    EXPECT_EQ(reading.gpuCelsius, 1.0);
}

TEST(SMCChipTemperatureSensorTests, AMissingServiceGivesAnEmptyReading) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    smc.opening = {.outcome = Outcome::serviceMissing, .connection = 0, .status = 0};
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(smc.callCount(), 0u);
    EXPECT_TRUE(smc.closedConnections.empty());
}

TEST(SMCChipTemperatureSensorTests, AFailedOpenGivesAnEmptyReading) {
    FakeSMC smc;
    prepareEveryKey(smc, 50.0f);
    smc.opening = {.outcome = Outcome::openFailed, .connection = 0, .status = failedCallStatus};
    const double before = WallClock::now();
    const ChipTemperatureReading reading = supportedSensor().readTemperatures(smc);
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_GE(reading.recordedAt, before);
    EXPECT_EQ(smc.callCount(), 0u);
    EXPECT_TRUE(smc.closedConnections.empty());
}

// --- readBrandString ---

TEST(SMCChipTemperatureSensorTests, TheBrandStringEndsBeforeItsTerminatingZero) {
    FakeSystemValues values = brandBytes("Apple M1 Pro\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "Apple M1 Pro");
    EXPECT_EQ(values.lastReadBufferSize, 13u);
    EXPECT_TRUE(values.lastReadBufferZeroed);
}

TEST(SMCChipTemperatureSensorTests, ABrandStringOfLengthZeroIsEmptyWithoutASecondCall) {
    FakeSystemValues values = brandBytes("");
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
    EXPECT_EQ(values.lengthQueries, 1);
    EXPECT_EQ(values.reads, 0);
}

TEST(SMCChipTemperatureSensorTests, ABrandStringLongerThan255BytesIsEmptyWithoutASecondCall) {
    FakeSystemValues values = brandBytes(std::string(255, 'A') + '\0');
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
    EXPECT_EQ(values.reads, 0);
}

TEST(SMCChipTemperatureSensorTests, ABrandStringOf255BytesIsRead) {
    FakeSystemValues values = brandBytes(std::string(254, 'A') + '\0');
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), std::string(254, 'A'));
    EXPECT_EQ(values.lastReadBufferSize, 255u);
    EXPECT_TRUE(values.lastReadBufferZeroed);

    values = brandBytes(std::string(255, 'B'));
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), std::string(255, 'B'));
}

TEST(SMCChipTemperatureSensorTests, ABrandStringOfOneZeroByteIsEmpty) {
    FakeSystemValues values = brandBytes("\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
    EXPECT_EQ(values.reads, 1);
}

TEST(SMCChipTemperatureSensorTests, AFailedLengthQueryGivesAnEmptyBrandString) {
    FakeSystemValues values = brandBytes("Apple M1\0"s);
    values.lengthQueryFails = true;
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
    EXPECT_EQ(values.reads, 0);
}

TEST(SMCChipTemperatureSensorTests, AFailedSecondCallGivesAnEmptyBrandString) {
    FakeSystemValues values = brandBytes("Apple M1\0"s);
    values.readFails = true;
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
    EXPECT_EQ(values.reads, 1);
}

TEST(SMCChipTemperatureSensorTests, TheBrandStringIsCutAtItsFirstZeroByte) {
    FakeSystemValues values = brandBytes("Apple M1\0 Ultra\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "Apple M1");
    values = brandBytes("\0Apple M1\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "");
}

TEST(SMCChipTemperatureSensorTests, InvalidUTF8InTheBrandStringIsReplaced) {
    FakeSystemValues values = brandBytes("Apple\xFF M1\xE2\x82\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "Apple\uFFFD M1\uFFFD");
    values = brandBytes("Caf\xC3\xA9 \xE2\x82\xAC\0"s);
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(values), "Caf\u00E9 \u20AC");
}

TEST(SMCChipTemperatureSensorTests, ABrandStringWithInvalidUTF8IsNotSupported) {
    FakeSystemValues values = brandBytes("Apple M1\xFF\0"s);
    EXPECT_FALSE(SMCChipTemperatureSensor(values).supported);
}

}  // namespace
}  // namespace tallowbeck
