#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "TallowbeckCore/platform/linux/LinuxRegistryProperties.hpp"
#include "tests/testing/EnvironmentVariable.hpp"
#include "tests/testing/PrivateBuses.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::TemporaryDirectory;

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

RegistryValue lookUp(const TemporaryDirectory& root, std::string_view service,
                     std::string_view key) {
    return LinuxRegistryProperties(root.path()).property(service, key);
}

// --- battery ---

TEST(LinuxRegistryPropertiesTests, TheBatteryTemperatureInTenthsComesOutInHundredths) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::number(3010.0));
}

TEST(LinuxRegistryPropertiesTests, ABatteryBelowFreezingIsANegativeNumber) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "-52");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::number(-520.0));
}

TEST(LinuxRegistryPropertiesTests, TheFirstBatteryByNameIsTheOneRead) {
    TemporaryDirectory root;
    writeSupply(root, "BAT1", "Battery", "400");
    writeSupply(root, "AC", "Mains", "100");
    writeSupply(root, "BAT0", "Battery", "300");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::number(3000.0));
}

TEST(LinuxRegistryPropertiesTests, ThePeripheralsBatteriesAreNotTheNotebooks) {
    TemporaryDirectory root;
    writeSupply(root, "hid-00:1f:20:aa:bb:cc-battery", "Battery", "250");
    root.write("sys/class/power_supply/hid-00:1f:20:aa:bb:cc-battery/scope", "Device\n");
    writeSupply(root, "max170xx_battery", "Battery", "330");
    root.write("sys/class/power_supply/max170xx_battery/scope", "System\n");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::number(3300.0));
}

TEST(LinuxRegistryPropertiesTests, OnlyMainsPowerMeansNoBatteryService) {
    TemporaryDirectory root;
    writeSupply(root, "AC", "Mains", "300");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::missingService());
}

TEST(LinuxRegistryPropertiesTests, NoPowerSupplyFolderMeansNoBatteryService) {
    TemporaryDirectory root;
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::missingService());
}

TEST(LinuxRegistryPropertiesTests, ABatteryWithoutATemperatureLacksTheProperty) {
    TemporaryDirectory root;
    root.write("sys/class/power_supply/BAT0/type", "Battery\n");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::missingProperty());
}

TEST(LinuxRegistryPropertiesTests, ATemperatureThatFailsToReadLacksTheProperty) {
    TemporaryDirectory root;
    root.write("sys/class/power_supply/BAT0/type", "Battery\n");
    // Opening a folder succeeds and reading it fails, as a driver's read of a sensor can.
    std::filesystem::create_directories(root.path() / "sys/class/power_supply/BAT0/temp");
    EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::missingProperty());
}

TEST(LinuxRegistryPropertiesTests, ATemperatureThatIsNotAnIntegerIsHandedOverAsText) {
    for (const std::string_view text : {"warm", "30.1", "", "301 K"}) {
        TemporaryDirectory root;
        writeSupply(root, "BAT0", "Battery", text);
        EXPECT_EQ(lookUp(root, battery, temperature), RegistryValue::text(std::string(text)))
            << text;
    }
}

TEST(LinuxRegistryPropertiesTests, AnyOtherKeyOfTheBatteryIsAMissingProperty) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    EXPECT_EQ(lookUp(root, battery, "CycleCount"), RegistryValue::missingProperty());
}

// --- lid ---

TEST(LinuxRegistryPropertiesTests, AnOpenLidIsClamshellStateFalse) {
    TemporaryDirectory root;
    writeLidState(root, "state:      open\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(false));
}

TEST(LinuxRegistryPropertiesTests, AClosedLidIsClamshellStateTrue) {
    TemporaryDirectory root;
    writeLidState(root, "state:      closed\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(true));
}

TEST(LinuxRegistryPropertiesTests, NoLidButtonAndNoLogindMeansNoRootDomain) {
    const testing::EnvironmentVariable noSystemBus("DBUS_SYSTEM_BUS_ADDRESS",
                                                   "unix:path=/nonexistent/system_bus");
    TemporaryDirectory root;
    root.write("proc/acpi/button/power/PWRF/info", "type: Power Button\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::missingService());
}

TEST(LinuxRegistryPropertiesTests, WithoutAnACPILidTheLidStateComesFromLogind) {
    const testing::PrivateBuses buses({.logind = true, .screenSaver = false, .sessionBus = false});
    TemporaryDirectory root;
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(false));

    buses.setLidClosed(true);

    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(true));
    EXPECT_EQ(lookUp(root, rootDomain, temperature), RegistryValue::missingProperty());
}

TEST(LinuxRegistryPropertiesTests, AnACPILidIsReadBeforeLogind) {
    const testing::PrivateBuses buses({.logind = true, .screenSaver = false, .sessionBus = false});
    buses.setLidClosed(true);
    TemporaryDirectory root;
    writeLidState(root, "state:      open\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(false));
}

TEST(LinuxRegistryPropertiesTests, ALidButtonWithoutAStateLacksTheProperty) {
    TemporaryDirectory root;
    root.write("proc/acpi/button/lid/LID0/info", "type: Lid Switch\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::missingProperty());
}

TEST(LinuxRegistryPropertiesTests, AnUnknownLidStateIsHandedOverAsText) {
    for (const std::string_view line : {"state:      unsupported", "open", "state: opened"}) {
        TemporaryDirectory root;
        writeLidState(root, std::string(line) + "\n");
        EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::text(std::string(line)))
            << line;
    }
}

TEST(LinuxRegistryPropertiesTests, TheFirstLidButtonByNameIsTheOneRead) {
    TemporaryDirectory root;
    root.write("proc/acpi/button/lid/LID1/state", "state:      open\n");
    root.write("proc/acpi/button/lid/LID0/state", "state:      closed\n");
    EXPECT_EQ(lookUp(root, rootDomain, clamshell), RegistryValue::boolean(true));
}

TEST(LinuxRegistryPropertiesTests, AnyOtherKeyOfTheRootDomainIsAMissingProperty) {
    TemporaryDirectory root;
    writeLidState(root, "state:      closed\n");
    EXPECT_EQ(lookUp(root, rootDomain, temperature), RegistryValue::missingProperty());
}

// --- other services ---

TEST(LinuxRegistryPropertiesTests, EveryOtherServiceIsMissing) {
    TemporaryDirectory root;
    writeSupply(root, "BAT0", "Battery", "301");
    writeLidState(root, "state:      closed\n");
    EXPECT_EQ(lookUp(root, "AppleSMC", temperature), RegistryValue::missingService());
    EXPECT_EQ(lookUp(root, "AppleSmartBatteryManager", temperature),
              RegistryValue::missingService());
}

}  // namespace
}  // namespace tallowbeck
