// The hardware monitors of real machines, rebuilt below a fake root: each monitor lives in the
// device folder of its driver and is linked from sys/class/hwmon, as the kernel lays them out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TallowbeckCore/platform/linux/LinuxDieTemperatureSensors.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TemporaryDirectory;
using ::testing::UnorderedElementsAre;
using Readings = DieTemperatureSensors::Readings;

// One hardware monitor: sys/class/hwmon/<name> linking to its device's folder.
class Monitor {
public:
    Monitor(const TemporaryDirectory& root, std::string_view hwmon, std::string_view devicePath,
            std::string_view driver)
        : root_(root), folder_(fs::path("sys/devices") / devicePath / "hwmon" / hwmon) {
        root_.write(folder_ / "name", std::string(driver) + "\n");
        fs::create_directories(root_.path() / "sys/class/hwmon");
        fs::create_symlink(root_.path() / folder_, root_.path() / "sys/class/hwmon" / hwmon);
    }

    // temp<index>_input, and temp<index>_label unless `label` is empty.
    Monitor& sensor(int index, std::string_view millidegrees, std::string_view label = "") {
        const std::string prefix = "temp" + std::to_string(index);
        root_.write(folder_ / (prefix + "_input"), std::string(millidegrees) + "\n");
        if (!label.empty()) {
            root_.write(folder_ / (prefix + "_label"), std::string(label) + "\n");
        }
        // Limits beside the input, which are no readings.
        root_.write(folder_ / (prefix + "_crit"), "100000\n");
        return *this;
    }

    Monitor& attribute(std::string_view file, std::string_view text) {
        root_.write(folder_ / file, std::string(text) + "\n");
        return *this;
    }

private:
    const TemporaryDirectory& root_;
    fs::path folder_;
};

Readings readingsOf(const TemporaryDirectory& root) {
    const std::optional<Readings> readings = LinuxDieTemperatureSensors(root.path()).read();
    EXPECT_TRUE(readings) << "Linux always reports its own sensors";
    return readings.value_or(Readings{});
}

// An Intel notebook: the ACPI zone, the processor's package and cores, the drive, the Wi-Fi card,
// the vendor's fan controller and the integrated graphics, which has no temperature sensor.
TEST(LinuxDieTemperatureSensorsTests, AnIntelNotebookGivesThePackageTemperature) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "virtual/thermal/thermal_zone0", "acpitz").sensor(1, "48000");
    Monitor(root, "hwmon1", "pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0", "nvme")
        .sensor(1, "37850", "Composite")
        .sensor(2, "37850", "Sensor 1");
    Monitor(root, "hwmon2", "platform/thinkpad_hwmon", "thinkpad")
        .sensor(1, "49000")
        .attribute("fan1_input", "2720");
    Monitor(root, "hwmon3", "virtual/thermal/thermal_zone3", "iwlwifi_1").sensor(1, "41000");
    Monitor(root, "hwmon4", "platform/coretemp.0", "coretemp")
        .sensor(1, "57000", "Package id 0")
        .sensor(2, "55000", "Core 0")
        .sensor(3, "61000", "Core 1")
        .sensor(4, "54000", "Core 2")
        .sensor(5, "53000", "Core 3");
    Monitor(root, "hwmon5", "pci0000:00/0000:00:02.0", "i915")
        .attribute("power1_max", "28000000")
        .attribute("energy1_input", "1234567");

    const Readings readings = readingsOf(root);

    EXPECT_THAT(readings.cpuCelsius, ElementsAre(57.0));
    EXPECT_THAT(readings.gpuCelsius, IsEmpty());
}

// An AMD notebook (Zen 3): k10temp has Tctl only, and the integrated graphics its edge sensor.
TEST(LinuxDieTemperatureSensorsTests, AnAMDNotebookGivesTctlAndTheGraphicsEdge) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "LNXSYSTM:00/LNXSYBUS:00/PNP0C0A:00/power_supply/BAT0", "BAT0")
        .attribute("in0_input", "12913");
    Monitor(root, "hwmon1", "pci0000:00/0000:00:02.4/0000:02:00.0/nvme/nvme0", "nvme")
        .sensor(1, "33850", "Composite");
    Monitor(root, "hwmon2", "pci0000:00/0000:00:18.3", "k10temp")
        .sensor(1, "45625", "Tctl")
        .sensor(3, "44500", "Tccd1");
    Monitor(root, "hwmon3", "pci0000:00/0000:00:08.1/0000:04:00.0", "amdgpu")
        .sensor(1, "39000", "edge")
        .attribute("in0_input", "1356")
        .attribute("power1_average", "4000000");
    Monitor(root, "hwmon4", "virtual/thermal/thermal_zone0", "acpitz").sensor(1, "46000");

    const Readings readings = readingsOf(root);

    EXPECT_THAT(readings.cpuCelsius, ElementsAre(45.625));
    EXPECT_THAT(readings.gpuCelsius, ElementsAre(39.0));
}

// An older AMD desktop (Zen+) reports Tdie beside a Tctl that carries a fan-control offset, and
// an NVIDIA card on nouveau has one unlabelled sensor.
TEST(LinuxDieTemperatureSensorsTests, TdieIsPreferredToTctlAndNouveausOnlySensorIsTaken) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "pci0000:00/0000:00:18.3", "k10temp")
        .sensor(1, "62500", "Tctl")
        .sensor(2, "52500", "Tdie");
    Monitor(root, "hwmon1", "pci0000:00/0000:00:03.1/0000:09:00.0", "nouveau")
        .sensor(1, "36000")
        .attribute("fan1_input", "1100");

    const Readings readings = readingsOf(root);

    EXPECT_THAT(readings.cpuCelsius, ElementsAre(52.5));
    EXPECT_THAT(readings.gpuCelsius, ElementsAre(36.0));
}

// A discrete AMD card lists its hot spot and memory beside the edge.
TEST(LinuxDieTemperatureSensorsTests, AGraphicsCardsJunctionAndMemorySensorsAreNotItsDie) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "pci0000:00/0000:00:01.1/0000:0b:00.0", "amdgpu")
        .sensor(1, "51000", "edge")
        .sensor(2, "63000", "junction")
        .sensor(3, "58000", "mem");

    EXPECT_THAT(readingsOf(root).gpuCelsius, ElementsAre(51.0));
}

TEST(LinuxDieTemperatureSensorsTests, EveryPackageOfATwoProcessorMachineIsReported) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "platform/coretemp.0", "coretemp")
        .sensor(1, "44000", "Package id 0")
        .sensor(2, "43000", "Core 0");
    Monitor(root, "hwmon1", "platform/coretemp.1", "coretemp")
        .sensor(1, "49000", "Package id 1")
        .sensor(2, "47000", "Core 0");

    EXPECT_THAT(readingsOf(root).cpuCelsius, UnorderedElementsAre(44.0, 49.0));
}

TEST(LinuxDieTemperatureSensorsTests, ValuesArePassedOnAsTheKernelGivesThem) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "platform/coretemp.0", "coretemp").sensor(1, "-1000", "Package id 0");
    Monitor(root, "hwmon1", "pci0000:00/0000:00:08.1/0000:04:00.0", "amdgpu")
        .sensor(1, "511000", "edge");

    const Readings readings = readingsOf(root);

    EXPECT_THAT(readings.cpuCelsius, ElementsAre(-1.0));
    EXPECT_THAT(readings.gpuCelsius, ElementsAre(511.0));
}

TEST(LinuxDieTemperatureSensorsTests, UnreadableSensorsArePassedOver) {
    TemporaryDirectory root;
    Monitor(root, "hwmon0", "platform/coretemp.0", "coretemp")
        .sensor(1, "n/a", "Package id 0")
        .sensor(2, "", "Package id 1")
        .sensor(3, "51000.5", "Package id 2");
    // A driver that fails the read of a sensor it cannot measure right now.
    fs::create_directories(root.path() / "sys/devices/pci0000:00/0000:00:18.3/hwmon/hwmon1" /
                           "temp1_input");
    Monitor(root, "hwmon1", "pci0000:00/0000:00:18.3", "k10temp").attribute("temp1_label", "Tctl");

    const Readings readings = readingsOf(root);

    EXPECT_THAT(readings.cpuCelsius, IsEmpty());
}

TEST(LinuxDieTemperatureSensorsTests, AMonitorWithoutANameIsPassedOver) {
    TemporaryDirectory root;
    root.write("sys/class/hwmon/hwmon0/temp1_input", "50000\n");
    root.write("sys/class/hwmon/hwmon0/temp1_label", "Package id 0\n");
    EXPECT_THAT(readingsOf(root).cpuCelsius, IsEmpty());
}

TEST(LinuxDieTemperatureSensorsTests, NoHardwareMonitorsGiveEmptyReadings) {
    TemporaryDirectory root;
    const Readings readings = readingsOf(root);
    EXPECT_THAT(readings.cpuCelsius, IsEmpty());
    EXPECT_THAT(readings.gpuCelsius, IsEmpty());
}

TEST(LinuxDieTemperatureSensorsTests, SystemIsOneLinuxInstance) {
    DieTemperatureSensors& first = DieTemperatureSensors::system();
    EXPECT_NE(dynamic_cast<LinuxDieTemperatureSensors*>(&first), nullptr);
    EXPECT_EQ(&first, &DieTemperatureSensors::system());
}

}  // namespace
}  // namespace tallowbeck
