#include <gtest/gtest.h>

#include <filesystem>

#include "TallowbeckCore/platform/linux/LinuxVolumeCapacity.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

void expectCapacitiesOf(const std::filesystem::path& path) {
    const auto capacities = LinuxVolumeCapacity().capacities(path.string());
    ASSERT_TRUE(capacities);
    const std::filesystem::space_info space = std::filesystem::space(path);
    EXPECT_EQ(capacities->total, static_cast<std::int64_t>(space.capacity));
    EXPECT_EQ(capacities->availableForImportantUsage, static_cast<std::int64_t>(space.available));
}

TEST(LinuxVolumeCapacityTests, CapacitiesOfTheRootVolume) { expectCapacitiesOf("/"); }

TEST(LinuxVolumeCapacityTests, CapacitiesOfTheVolumeHoldingAPath) {
    const testing::TemporaryDirectory directory;
    expectCapacitiesOf(directory.path());
}

TEST(LinuxVolumeCapacityTests, MissingPathGivesNothing) {
    const testing::TemporaryDirectory directory;
    EXPECT_EQ(LinuxVolumeCapacity().capacities((directory.path() / "missing").string()),
              std::nullopt);
}

TEST(LinuxVolumeCapacityTests, SystemInstanceMeasuresTheRootVolume) {
    const auto capacities = VolumeCapacity::system().capacities("/");
    ASSERT_TRUE(capacities);
    ASSERT_TRUE(capacities->total);
    EXPECT_GT(*capacities->total, 0);
}

}  // namespace
}  // namespace tallowbeck
