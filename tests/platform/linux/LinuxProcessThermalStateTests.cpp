#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "TallowbeckCore/platform/linux/LinuxProcessThermalState.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::TemporaryDirectory;
using Level = ProcessThermalState::Level;

// A thermal zone at `millidegrees`, without trip points yet.
class Zone {
public:
    Zone(const TemporaryDirectory& root, std::string_view name, std::string_view millidegrees)
        : root_(root), folder_(std::filesystem::path("sys/class/thermal") / name) {
        root_.write(folder_ / "temp", std::string(millidegrees) + "\n");
    }

    // The next trip point, numbered in order from 0.
    Zone& trip(std::string_view type, std::string_view millidegrees) {
        const std::string prefix = "trip_point_" + std::to_string(trips_++) + "_";
        root_.write(folder_ / (prefix + "type"), std::string(type) + "\n");
        root_.write(folder_ / (prefix + "temp"), std::string(millidegrees) + "\n");
        return *this;
    }

private:
    const TemporaryDirectory& root_;
    std::filesystem::path folder_;
    int trips_ = 0;
};

// A zone with the usual ladder of trips of a notebook's ACPI zone.
Zone& laptopTrips(Zone& zone) {
    return zone.trip("critical", "105000")
        .trip("hot", "100000")
        .trip("passive", "90000")
        .trip("active", "70000");
}

Level levelOf(const TemporaryDirectory& root) {
    return LinuxProcessThermalState(root.path()).level();
}

Level levelAt(std::string_view millidegrees) {
    TemporaryDirectory root;
    Zone zone(root, "thermal_zone0", millidegrees);
    laptopTrips(zone);
    return levelOf(root);
}

TEST(LinuxProcessThermalStateTests, BelowEveryTripIsNominal) {
    EXPECT_EQ(levelAt("69999"), Level::nominal);
}

TEST(LinuxProcessThermalStateTests, FromAnActiveTripOnItIsFair) {
    EXPECT_EQ(levelAt("70000"), Level::fair);
    EXPECT_EQ(levelAt("89999"), Level::fair);
}

TEST(LinuxProcessThermalStateTests, FromAPassiveTripOnItIsSerious) {
    EXPECT_EQ(levelAt("90000"), Level::serious);
    EXPECT_EQ(levelAt("99999"), Level::serious);
}

TEST(LinuxProcessThermalStateTests, FromAHotOrCriticalTripOnItIsCritical) {
    EXPECT_EQ(levelAt("100000"), Level::critical);
    EXPECT_EQ(levelAt("105000"), Level::critical);
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "95000").trip("critical", "95000");
    EXPECT_EQ(levelOf(root), Level::critical);
}

TEST(LinuxProcessThermalStateTests, NothingToReadIsNominal) {
    TemporaryDirectory root;
    EXPECT_EQ(levelOf(root), Level::nominal);
}

TEST(LinuxProcessThermalStateTests, TheHottestZoneDecides) {
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "75000").trip("active", "70000");
    Zone(root, "thermal_zone1", "91000").trip("passive", "90000").trip("critical", "120000");
    Zone(root, "thermal_zone2", "30000").trip("active", "50000");
    EXPECT_EQ(levelOf(root), Level::serious);
}

TEST(LinuxProcessThermalStateTests, DisabledTripTemperaturesArePassedOver) {
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "45000")
        .trip("passive", "0")
        .trip("critical", "-273200")
        .trip("active", "50000");
    EXPECT_EQ(levelOf(root), Level::nominal);
}

TEST(LinuxProcessThermalStateTests, TripsOfOtherTypesArePassedOver) {
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "80000").trip("hysteresis", "60000").trip("active", "75000");
    EXPECT_EQ(levelOf(root), Level::fair);
}

TEST(LinuxProcessThermalStateTests, AnUnreadableTripTemperatureIsPassedOver) {
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "95000").trip("critical", "n/a").trip("passive", "90000");
    EXPECT_EQ(levelOf(root), Level::serious);
}

TEST(LinuxProcessThermalStateTests, AZoneWithoutAReadableTemperatureIsPassedOver) {
    TemporaryDirectory root;
    Zone(root, "thermal_zone0", "").trip("active", "1000");
    Zone(root, "thermal_zone1", "warm").trip("active", "1000");
    root.write("sys/class/thermal/thermal_zone2/trip_point_0_type", "critical\n");
    root.write("sys/class/thermal/thermal_zone2/trip_point_0_temp", "1000\n");
    // Opening a folder succeeds and reading it fails, as a driver's read of a sensor can.
    std::filesystem::create_directories(root.path() / "sys/class/thermal/thermal_zone4/temp");
    root.write("sys/class/thermal/thermal_zone4/trip_point_0_type", "critical\n");
    root.write("sys/class/thermal/thermal_zone4/trip_point_0_temp", "1000\n");
    Zone(root, "thermal_zone3", "60000").trip("active", "55000");
    EXPECT_EQ(levelOf(root), Level::fair);
}

TEST(LinuxProcessThermalStateTests, FoldersOtherThanZonesAreNotRead) {
    TemporaryDirectory root;
    Zone(root, "cooling_device0", "99000").trip("critical", "1000");
    EXPECT_EQ(levelOf(root), Level::nominal);
}

}  // namespace
}  // namespace tallowbeck
