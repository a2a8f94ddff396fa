#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "TallowbeckCore/temperature/TemperatureReading.hpp"
#include "tests/fakes/FakeDieTemperatureSensors.hpp"
#include "tests/fakes/FakeProcessThermalState.hpp"
#include "tests/fakes/FakeRegistryProperties.hpp"
#include "tests/fakes/FakeSMC.hpp"
#include "tests/fakes/FakeSystemValues.hpp"

namespace tallowbeck {
namespace {

using testing::FakeDieTemperatureSensors;
using testing::FakeProcessThermalState;
using testing::FakeRegistryProperties;
using testing::FakeSMC;
using testing::FakeSystemValues;
using Level = ProcessThermalState::Level;

constexpr const char* battery = "AppleSmartBattery";
constexpr const char* temperature = "Temperature";
constexpr const char* rootDomain = "IOPMrootDomain";
constexpr const char* clamshell = "AppleClamshellState";

class MacTemperatureSensorTests : public ::testing::Test {
protected:
    MacTemperatureSensor makeSensor() {
        return MacTemperatureSensor(registry, thermalState, smc, values, dies);
    }

    void useSupportedChip() {
        values.values["machdep.cpu.brand_string"] = std::string("Apple M1\0", 9);
    }

    std::optional<double> batteryCelsiusFor(RegistryValue value) {
        registry.prepare(battery, temperature, std::move(value));
        return makeSensor().readSample(false).batteryCelsius();
    }

    std::optional<double> batteryCelsiusFor(double hundredths) {
        return batteryCelsiusFor(RegistryValue::number(hundredths));
    }

    bool lidClosedFor(RegistryValue clamshellState) {
        registry.prepare(rootDomain, clamshell, std::move(clamshellState));
        return makeSensor().readSample(false).lidClosed();
    }

    FakeRegistryProperties registry;
    FakeProcessThermalState thermalState;
    FakeSMC smc;
    FakeSystemValues values;
    FakeDieTemperatureSensors dies;
};

// --- battery temperature ---

TEST_F(MacTemperatureSensorTests, TheBatteryTemperatureIsReadInHundredthsOfADegree) {
    EXPECT_EQ(batteryCelsiusFor(3012), 30.12);
}

TEST_F(MacTemperatureSensorTests, BothEndsOfTheBatteryRangeAreAccepted) {
    EXPECT_EQ(batteryCelsiusFor(0), 0.0);
    EXPECT_EQ(batteryCelsiusFor(10000), 100.0);
}

TEST_F(MacTemperatureSensorTests, ABatteryTemperatureOutsideTheRangeIsAbsent) {
    EXPECT_EQ(batteryCelsiusFor(10001), std::nullopt);
    EXPECT_EQ(batteryCelsiusFor(-1), std::nullopt);
}

TEST_F(MacTemperatureSensorTests, ABatteryTemperatureThatIsNotANumberIsAbsent) {
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::text("3012")), std::nullopt);
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::ofOtherType()), std::nullopt);
}

TEST_F(MacTemperatureSensorTests, ABooleanBatteryTemperatureReadsAsOneOrZeroHundredths) {
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::boolean(true)), 0.01);
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::boolean(false)), 0.0);
}

TEST_F(MacTemperatureSensorTests, AMissingBatteryTemperatureIsAbsent) {
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::missingProperty()), std::nullopt);
    EXPECT_EQ(batteryCelsiusFor(RegistryValue::missingService()), std::nullopt);
}

TEST_F(MacTemperatureSensorTests, WithoutABatteryTheThermalAndLidStatesAreStillRead) {
    thermalState.reportedLevel = Level::serious;
    registry.prepare(rootDomain, clamshell, RegistryValue::number(1));
    const TemperatureSample sample = makeSensor().readSample(false);
    EXPECT_EQ(sample.batteryCelsius(), std::nullopt);
    EXPECT_EQ(sample.thermalState(), SystemThermalState::serious);
    EXPECT_TRUE(sample.lidClosed());
}

// --- thermal state ---

TEST_F(MacTemperatureSensorTests, TheFourSystemLevelsBecomeTheFourThermalStates) {
    const std::vector<std::pair<Level, SystemThermalState>> expected{
        {Level::nominal, SystemThermalState::nominal},
        {Level::fair, SystemThermalState::fair},
        {Level::serious, SystemThermalState::serious},
        {Level::critical, SystemThermalState::critical}};
    for (const auto& [level, state] : expected) {
        thermalState.reportedLevel = level;
        EXPECT_EQ(makeSensor().readSample(false).thermalState(), state) << displayName(state);
    }
}

TEST_F(MacTemperatureSensorTests, AnOperatingSystemLevelOfSevenIsNominal) {
    thermalState.reportedLevel = ProcessThermalState::levelReported(7);
    EXPECT_EQ(makeSensor().readSample(false).thermalState(), SystemThermalState::nominal);
}

// --- lid ---

TEST_F(MacTemperatureSensorTests, AClamshellStateOfOneIsAClosedLid) {
    EXPECT_TRUE(lidClosedFor(RegistryValue::number(1)));
}

TEST_F(MacTemperatureSensorTests, AClamshellStateOfZeroIsAnOpenLid) {
    EXPECT_FALSE(lidClosedFor(RegistryValue::number(0)));
}

TEST_F(MacTemperatureSensorTests, AClamshellStatePublishedAsABooleanIsRead) {
    EXPECT_TRUE(lidClosedFor(RegistryValue::boolean(true)));
    EXPECT_FALSE(lidClosedFor(RegistryValue::boolean(false)));
}

TEST_F(MacTemperatureSensorTests, AMissingOrUnreadableClamshellStateIsAnOpenLid) {
    for (const RegistryValue& state :
         {RegistryValue::missingProperty(), RegistryValue::missingService(),
          RegistryValue::text("1"), RegistryValue::ofOtherType()}) {
        EXPECT_FALSE(lidClosedFor(state)) << static_cast<int>(state.type());
    }
}

// --- the sample ---

TEST_F(MacTemperatureSensorTests, ASampleCarriesTheSessionFlagAndNeverChipTemperatures) {
    useSupportedChip();
    smc.prepareFloatKey("Tp09", 61.5f);
    smc.prepareFloatKey("Tg05", 48.0f);
    MacTemperatureSensor sensor = makeSensor();

    const TemperatureSample active = sensor.readSample(true);
    EXPECT_TRUE(active.sessionActive());
    EXPECT_EQ(active.cpuCelsius(), std::nullopt);
    EXPECT_EQ(active.gpuCelsius(), std::nullopt);
    EXPECT_FALSE(sensor.readSample(false).sessionActive());
    EXPECT_EQ(smc.openCount, 0);
}

TEST_F(MacTemperatureSensorTests, ASampleReadsBatteryThenThermalStateThenLid) {
    // Notes how many registry lookups had been made when the thermal state was asked for.
    struct ThermalStateAfterLookups final : ProcessThermalState {
        explicit ThermalStateAfterLookups(const FakeRegistryProperties& registry)
            : registry_(registry) {}
        Level level() noexcept override {
            lookupsBefore.push_back(registry_.lookups.size());
            return Level::nominal;
        }
        std::vector<std::size_t> lookupsBefore;
        const FakeRegistryProperties& registry_;
    };
    ThermalStateAfterLookups noting(registry);
    MacTemperatureSensor(registry, noting, smc, values, dies).readSample(false);

    const std::vector<FakeRegistryProperties::Lookup> expected{{battery, temperature},
                                                               {rootDomain, clamshell}};
    EXPECT_EQ(registry.lookups, expected);
    EXPECT_EQ(noting.lookupsBefore, std::vector<std::size_t>{1});
}

TEST_F(MacTemperatureSensorTests, EverySampleHasANewIdentityAndTheTimeItWasTaken) {
    MacTemperatureSensor sensor = makeSensor();
    const double before = WallClock::now();
    const TemperatureSample first = sensor.readSample(false);
    const TemperatureSample second = sensor.readSample(false);
    const double after = WallClock::now();
    EXPECT_NE(first.id(), second.id());
    EXPECT_GE(first.recordedAt(), before);
    EXPECT_LE(second.recordedAt(), after);
    EXPECT_EQ(thermalState.queries, 2);
}

// --- chip temperatures ---

TEST_F(MacTemperatureSensorTests, ChipTemperaturesComeFromTheChipSensor) {
    useSupportedChip();
    smc.prepareFloatKey("Tp09", 45.0f);
    smc.prepareFloatKey("Tp0T", 61.5f);
    smc.prepareFloatKey("Tg05", 38.5f);
    MacTemperatureSensor sensor = makeSensor();
    const double before = WallClock::now();
    const ChipTemperatureReading reading = sensor.readChipTemperatures();

    EXPECT_TRUE(sensor.chipSensor.supported);
    EXPECT_EQ(reading.cpuCelsius, 61.5);
    EXPECT_EQ(reading.gpuCelsius, 38.5);
    EXPECT_GE(reading.recordedAt, before);
    EXPECT_LE(reading.recordedAt, WallClock::now());
    EXPECT_EQ(smc.openCount, 1);
    EXPECT_TRUE(registry.lookups.empty());
}

TEST_F(MacTemperatureSensorTests, AnUnsupportedChipGivesNoChipTemperaturesAndNoCall) {
    values.values["machdep.cpu.brand_string"] = std::string("Apple M2\0", 9);
    smc.prepareFloatKey("Tp09", 45.0f);
    MacTemperatureSensor sensor = makeSensor();
    const ChipTemperatureReading reading = sensor.readChipTemperatures();

    EXPECT_FALSE(sensor.chipSensor.supported);
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(smc.openCount, 0);
}

TEST_F(MacTemperatureSensorTests, TheSystemsOwnDieSensorsComeBeforeTheController) {
    useSupportedChip();
    smc.prepareFloatKey("Tp09", 45.0f);
    dies.readings = {.cpuCelsius = {52.0, 67.5, 60.0}, .gpuCelsius = {41.0}};
    MacTemperatureSensor sensor = makeSensor();
    const double before = WallClock::now();
    const ChipTemperatureReading reading = sensor.readChipTemperatures();

    EXPECT_EQ(reading.cpuCelsius, 67.5);
    EXPECT_EQ(reading.gpuCelsius, 41.0);
    EXPECT_GE(reading.recordedAt, before);
    EXPECT_LE(reading.recordedAt, WallClock::now());
    EXPECT_EQ(smc.openCount, 0);
}

TEST_F(MacTemperatureSensorTests, DieSensorValuesOutsideOneTo125DegreesAreNotBelieved) {
    dies.readings = {.cpuCelsius = {0.5, 126.0, 1.0}, .gpuCelsius = {125.0, 125.25}};
    const ChipTemperatureReading edges = makeSensor().readChipTemperatures();
    EXPECT_EQ(edges.cpuCelsius, 1.0);
    EXPECT_EQ(edges.gpuCelsius, 125.0);

    dies.readings = {.cpuCelsius = {-40.0, std::numeric_limits<double>::quiet_NaN()},
                     .gpuCelsius = {std::numeric_limits<double>::infinity()}};
    const ChipTemperatureReading none = makeSensor().readChipTemperatures();
    EXPECT_EQ(none.cpuCelsius, std::nullopt);
    EXPECT_EQ(none.gpuCelsius, std::nullopt);
}

TEST_F(MacTemperatureSensorTests, DieSensorsWithoutValuesGiveAbsentTemperaturesNotTheController) {
    useSupportedChip();
    smc.prepareFloatKey("Tp09", 45.0f);
    dies.readings = DieTemperatureSensors::Readings{};
    const ChipTemperatureReading reading = makeSensor().readChipTemperatures();
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_EQ(smc.openCount, 0);
}

TEST_F(MacTemperatureSensorTests, TheBrandStringIsReadOncePerSensor) {
    useSupportedChip();
    MacTemperatureSensor sensor = makeSensor();
    sensor.readChipTemperatures();
    sensor.readChipTemperatures();
    sensor.readSample(false);
    EXPECT_EQ(values.lengthQueries, 1);
}

// A source that only implements samples.
class SamplesOnly final : public TemperatureReading {
public:
    TemperatureSample readSample(bool sessionActive) override {
        return TemperatureSample(UUID::random(), WallClock::now(), std::nullopt, std::nullopt,
                                 std::nullopt, SystemThermalState::nominal, sessionActive, false);
    }
};

TEST(TemperatureReadingTests, ASourceWithoutAChipSensorGivesAReadingOfNowWithoutValues) {
    SamplesOnly source;
    const double before = WallClock::now();
    const ChipTemperatureReading reading = source.readChipTemperatures();
    EXPECT_EQ(reading.cpuCelsius, std::nullopt);
    EXPECT_EQ(reading.gpuCelsius, std::nullopt);
    EXPECT_GE(reading.recordedAt, before);
    EXPECT_LE(reading.recordedAt, WallClock::now());
}

}  // namespace
}  // namespace tallowbeck
