#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>

#include "TallowbeckCore/platform/linux/LinuxRegistryProperties.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::TemporaryDirectory;
using Kind = RegistryProperties::Property::Kind;

constexpr std::string_view battery = "AppleSmartBattery";
constexpr std::string_view temperature = "Temperature";
constexpr std::string_view rootDomain = "IOPMrootDomain";
constexpr std::string_view clamshell = "AppleClamshellState";

void writeSupply(const TemporaryDirectory& root, std::string_view name, std::string_view type,
                 std::string_view temp) {
    const std::filesystem::path folder = std::filesystem::path("sys/class/power_supply") / name;
    root.write(folder / "type", std::string(type) + "\n");
    root.write(folder / "temp", std::string(temp) + "\n");
}

void writeLidState(const TemporaryDirectory& root, std::string_view state) {
    root.write("proc/acpi/button/lid/LID0/state", state);
}

RegistryProperties::Property lookUp(const TemporaryDirectory& root, std::string_view service,
                                    std::string_view key) {
    return LinuxRegistryProperties(root.path()).property(service, key);
}

// --- battery ---

TEST(LinuxRegistryPropertiesTests, TheBatteryTemperatureInTenthsComesOutInHundredths) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    const RegistryProperties::Property property = lookUp(root, battery, temperature);
    EXPECT_EQ(property.kind, Kind::number);
    EXPECT_EQ(property.number, 3010.0);
}

TEST(LinuxRegistryPropertiesTests, ABatteryBelowFreezingIsANegativeNumber) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "-52");
    EXPECT_EQ(lookUp(root, battery, temperature).number, -520.0);
}

TEST(LinuxRegistryPropertiesTests, TheFirstBatteryByNameIsTheOneRead) {
    TemporaryDirectory root;
    writeSupply(root, "BAT1", "Battery", "400");
    writeSupply(root, "AC", "Mains", "100");
    writeSupply(root, "BAT0", "Battery", "300");
    EXPECT_EQ(lookUp(root, battery, temperature).number, 3000.0);
}

TEST(LinuxRegistryPropertiesTests, ThePeripheralsBatteriesAreNotTheNotebooks) {
    TemporaryDirectory root;
    writeSupply(root, "hid-00:1f:20:aa:bb:cc-battery", "Battery", "250");
    root.write("sys/class/power_supply/hid-00:1f:20:aa:bb:cc-battery/scope", "Device\n");
    writeSupply(root, "max170xx_battery", "Battery", "330");
    root.write("sys/class/power_supply/max170xx_battery/scope", "System\n");
    EXPECT_EQ(lookUp(root, battery, temperature).number, 3300.0);
}

TEST(LinuxRegistryPropertiesTests, OnlyMainsPowerMeansNoBatteryService) {
    TemporaryDirectory root;
    writeSupply(root, "AC", "Mains", "300");
    EXPECT_EQ(lookUp(root, battery, temperature).kind, Kind::serviceMissing);
}

TEST(LinuxRegistryPropertiesTests, NoPowerSupplyFolderMeansNoBatteryService) {
    TemporaryDirectory root;
    EXPECT_EQ(lookUp(root, battery, temperature).kind, Kind::serviceMissing);
}

TEST(LinuxRegistryPropertiesTests, ABatteryWithoutATemperatureLacksTheProperty) {
    TemporaryDirectory root;
    root.write("sys/class/power_supply/BAT0/type", "Battery\n");
    EXPECT_EQ(lookUp(root, battery, temperature).kind, Kind::propertyMissing);
}

TEST(LinuxRegistryPropertiesTests, ATemperatureThatFailsToReadLacksTheProperty) {
    TemporaryDirectory root;
    root.write("sys/class/power_supply/BAT0/type", "Battery\n");
    // Opening a folder succeeds and reading it fails, as a driver's read of a sensor can.
    std::filesystem::create_directories(root.path() / "sys/class/power_supply/BAT0/temp");
    EXPECT_EQ(lookUp(root, battery, temperature).kind, Kind::propertyMissing);
}

TEST(LinuxRegistryPropertiesTests, ATemperatureThatIsNotAnIntegerIsOfAnotherKind) {
    for (const std::string_view text : {"warm", "30.1", "", "301 K"}) {
        TemporaryDirectory root;
        writeSupply(root, "BAT0", "Battery", text);
        EXPECT_EQ(lookUp(root, battery, temperature).kind, Kind::otherKind) << text;
    }
}

TEST(LinuxRegistryPropertiesTests, AnyOtherKeyOfTheBatteryIsAMissingProperty) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    EXPECT_EQ(lookUp(root, battery, "CycleCount").kind, Kind::propertyMissing);
}

// --- lid ---

TEST(LinuxRegistryPropertiesTests, AnOpenLidIsClamshellStateZero) {
    TemporaryDirectory root;
    writeLidState(root, "state:      open\n");
    const RegistryProperties::Property property = lookUp(root, rootDomain, clamshell);
    EXPECT_EQ(property.kind, Kind::number);
    EXPECT_EQ(property.number, 0.0);
}

TEST(LinuxRegistryPropertiesTests, AClosedLidIsClamshellStateOne) {
    TemporaryDirectory root;
    writeLidState(root, "state:      closed\n");
    const RegistryProperties::Property property = lookUp(root, rootDomain, clamshell);
    EXPECT_EQ(property.kind, Kind::number);
    EXPECT_EQ(property.number, 1.0);
}

TEST(LinuxRegistryPropertiesTests, NoLidButtonMeansNoRootDomain) {
    TemporaryDirectory root;
    root.write("proc/acpi/button/power/PWRF/info", "type: Power Button\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell).kind, Kind::serviceMissing);
}

TEST(LinuxRegistryPropertiesTests, ALidButtonWithoutAStateLacksTheProperty) {
    TemporaryDirectory root;
    root.write("proc/acpi/button/lid/LID0/info", "type: Lid Switch\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell).kind, Kind::propertyMissing);
}

TEST(LinuxRegistryPropertiesTests, AnUnknownLidStateIsOfAnotherKind) {
    for (const std::string_view text : {"state:      unsupported\n", "open\n", "state: opened\n"}) {
        TemporaryDirectory root;
        writeLidState(root, text);
        EXPECT_EQ(lookUp(root, rootDomain, clamshell).kind, Kind::otherKind) << text;
    }
}

TEST(LinuxRegistryPropertiesTests, TheFirstLidButtonByNameIsTheOneRead) {
    TemporaryDirectory root;
    root.write("proc/acpi/button/lid/LID1/state", "state:      open\n");
    root.write("proc/acpi/button/lid/LID0/state", "state:      closed\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell).number, 1.0);
}

TEST(LinuxRegistryPropertiesTests, AnyOtherKeyOfTheRootDomainIsAMissingProperty) {
    TemporaryDirectory root;
    writeLidState(root, "state:      closed\n");
    EXPECT_EQ(lookUp(root, rootDomain, temperature).kind, Kind::propertyMissing);
}

// --- other services ---

TEST(LinuxRegistryPropertiesTests, EveryOtherServiceIsMissing) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    writeLidState(root, "state:      closed\n");
    EXPECT_EQ(lookUp(root, "AppleSMC", temperature).kind, Kind::serviceMissing);
    EXPECT_EQ(lookUp(root, "AppleSmartBatteryManager", temperature).kind, Kind::serviceMissing);
}

}  // namespace
}  // namespace tallowbeck
