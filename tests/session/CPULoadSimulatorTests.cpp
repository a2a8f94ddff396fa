#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "TallowbeckCore/session/CPULoadSimulator.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "tests/fakes/FakeSystemValues.hpp"

namespace tallowbeck {
namespace {

using testing::FakeSystemValues;

static_assert(std::is_empty_v<CPULoadSimulator>);
static_assert(std::is_default_constructible_v<CPULoadSimulator>);

bool supportedWithBrand(const std::string& brand) {
    FakeSystemValues values;
    values.values["machdep.cpu.brand_string"] = brand + '\0';
    return CPULoadSimulator::isSupportedProcessor(values);
}

TEST(CPULoadSimulatorTests, EveryChipOfTheM1FamilyIsSupported) {
    for (const char* brand : {"Apple M1", "Apple M1 Pro", "Apple M1 Max", "Apple M1 Ultra"}) {
        EXPECT_TRUE(supportedWithBrand(brand)) << brand;
    }
}

TEST(CPULoadSimulatorTests, LaterChipsAndNearMissesAreNotSupported) {
    for (const char* brand : {"Apple M2", "Apple M3 Max", "Apple M1 Pro ", "apple m1 pro",
                              "Apple M1 PRO", " Apple M1", "Apple M1\t", "Apple"}) {
        EXPECT_FALSE(supportedWithBrand(brand)) << '"' << brand << '"';
    }
}

TEST(CPULoadSimulatorTests, AnUnreadableBrandIsNotSupported) {
    EXPECT_FALSE(supportedWithBrand(""));
    FakeSystemValues values;
    EXPECT_FALSE(CPULoadSimulator::isSupportedProcessor(values));
    values.values["machdep.cpu.brand_string"] = std::string("Apple M1") + '\0';
    values.readFails = true;
    EXPECT_FALSE(CPULoadSimulator::isSupportedProcessor(values));
}

TEST(CPULoadSimulatorTests, TheBrandIsReadAnewAtEveryCall) {
    FakeSystemValues values;
    values.values["machdep.cpu.brand_string"] = std::string("Apple M1 Ultra") + '\0';
    EXPECT_TRUE(CPULoadSimulator::isSupportedProcessor(values));
    values.values["machdep.cpu.brand_string"] = std::string("Apple M2 Ultra") + '\0';
    EXPECT_FALSE(CPULoadSimulator::isSupportedProcessor(values));
    EXPECT_EQ(values.lengthQueries, 2);
    EXPECT_EQ(values.reads, 2);
}

TEST(CPULoadSimulatorTests, ItsListHoldsTheSameChipsAsTheTemperatureSensors) {
    EXPECT_EQ(CPULoadSimulator::supportedProcessors, SMCChipTemperatureSensor::supportedChipNames);
}

}  // namespace
}  // namespace tallowbeck
