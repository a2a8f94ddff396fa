#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "TallowbeckCore/platform/linux/LinuxSystemValues.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using namespace std::string_literals;
using testing::TemporaryDirectory;

constexpr const char* brandStringName = "machdep.cpu.brand_string";

constexpr std::string_view x86Cpuinfo =
    "processor\t: 0\n"
    "vendor_id\t: GenuineIntel\n"
    "cpu family\t: 6\n"
    "model\t\t: 158\n"
    "model name\t: Intel(R) Core(TM) i7-9750H CPU @ 2.60GHz\n"
    "stepping\t: 10\n"
    "\n"
    "processor\t: 1\n"
    "vendor_id\t: GenuineIntel\n"
    "model name\t: Some Other Processor\n"
    "\n";

constexpr std::string_view arm64Cpuinfo =
    "processor\t: 0\n"
    "BogoMIPS\t: 48.00\n"
    "Features\t: fp asimd evtstrm aes pmull sha1 sha2 crc32\n"
    "CPU implementer\t: 0x61\n"
    "CPU part\t: 0x022\n"
    "\n";

// The brand string's bytes as a caller of the interface receives them.
std::string readBrandBytes(SystemValues& values) {
    std::array<char, 256> buffer{};
    const std::optional<std::size_t> length = values.readValue(brandStringName, buffer);
    return length ? std::string(buffer.data(), *length) : "<none>";
}

TEST(LinuxSystemValuesTests, TheBrandStringIsTheFirstModelNameWithATerminatingZero) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", x86Cpuinfo);
    LinuxSystemValues values(root.path());
    EXPECT_EQ(values.valueLength(brandStringName), 41u);
    EXPECT_EQ(readBrandBytes(values), "Intel(R) Core(TM) i7-9750H CPU @ 2.60GHz\0"s);
}

TEST(LinuxSystemValuesTests, BlanksAroundTheModelNameAreKeptAsTheKernelWroteThem) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", "model name\t:  Apple M1  \n");
    LinuxSystemValues values(root.path());
    EXPECT_EQ(readBrandBytes(values), " Apple M1  \0"s);
    EXPECT_EQ(values.valueLength(brandStringName), 12u);
}

TEST(LinuxSystemValuesTests, AnEmptyModelNameIsOneZeroByte) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", "model name\t: \n");
    LinuxSystemValues values(root.path());
    EXPECT_EQ(values.valueLength(brandStringName), 1u);
    EXPECT_EQ(readBrandBytes(values), "\0"s);
}

TEST(LinuxSystemValuesTests, AModelNameOnTheLastLineWithoutANewlineIsFound) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", "processor\t: 0\nmodel name\t: Apple M1 Max");
    LinuxSystemValues values(root.path());
    EXPECT_EQ(readBrandBytes(values), "Apple M1 Max\0"s);
}

TEST(LinuxSystemValuesTests, OnlyALineNamedExactlyModelNameCounts) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo",
               "model\t\t: 158\n"
               "model names\t: wrong\n"
               "cpu model name\t: wrong\n"
               "model name without a colon\n"
               "model name : right\n");
    LinuxSystemValues values(root.path());
    EXPECT_EQ(readBrandBytes(values), "right\0"s);
}

TEST(LinuxSystemValuesTests, ACpuinfoWithoutModelNameHasNoBrandString) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", arm64Cpuinfo);
    LinuxSystemValues values(root.path());
    EXPECT_EQ(values.valueLength(brandStringName), std::nullopt);
    EXPECT_EQ(readBrandBytes(values), "<none>");
}

TEST(LinuxSystemValuesTests, AMissingCpuinfoHasNoBrandString) {
    TemporaryDirectory root;
    LinuxSystemValues values(root.path());
    EXPECT_EQ(values.valueLength(brandStringName), std::nullopt);
    EXPECT_EQ(readBrandBytes(values), "<none>");
}

TEST(LinuxSystemValuesTests, OtherNamesHaveNoValue) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", x86Cpuinfo);
    LinuxSystemValues values(root.path());
    for (const char* name :
         {"hw.model", "machdep.cpu.brand_strin", "machdep.cpu.brand_string ", "model name", ""}) {
        EXPECT_EQ(values.valueLength(name), std::nullopt) << name;
        std::array<char, 64> buffer{};
        EXPECT_EQ(values.readValue(name, buffer), std::nullopt) << name;
    }
}

TEST(LinuxSystemValuesTests, AReadNeedsRoomForTheWholeValue) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", "model name\t: Apple M1\n");
    LinuxSystemValues values(root.path());
    std::array<char, 9> exact{};
    EXPECT_EQ(values.readValue(brandStringName, exact), 9u);
    EXPECT_EQ(std::string(exact.data(), exact.size()), "Apple M1\0"s);
    std::array<char, 8> tooSmall{};
    EXPECT_EQ(values.readValue(brandStringName, tooSmall), std::nullopt);
}

TEST(LinuxSystemValuesTests, TheSensorReadsTheBrandStringFromCpuinfo) {
    TemporaryDirectory root;
    root.write("proc/cpuinfo", x86Cpuinfo);
    LinuxSystemValues intel(root.path());
    EXPECT_EQ(SMCChipTemperatureSensor::readBrandString(intel),
              "Intel(R) Core(TM) i7-9750H CPU @ 2.60GHz");
    EXPECT_FALSE(SMCChipTemperatureSensor(intel).supported);

    root.write("proc/cpuinfo", "model name\t: Apple M1 Pro\n");
    LinuxSystemValues apple(root.path());
    EXPECT_TRUE(SMCChipTemperatureSensor(apple).supported);
}

TEST(LinuxSystemValuesTests, SystemIsOneLinuxInstance) {
    SystemValues& first = SystemValues::system();
    EXPECT_NE(dynamic_cast<LinuxSystemValues*>(&first), nullptr);
    EXPECT_EQ(&first, &SystemValues::system());
}

}  // namespace
}  // namespace tallowbeck
