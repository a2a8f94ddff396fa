#include <gtest/gtest.h>

#include "TallowbeckCore/platform/RunningExecutable.hpp"

namespace tallowbeck {
namespace {

TEST(LinuxRunningExecutableTests, IsTheTestProgramsFileWithAnAbsolutePath) {
    const std::optional<std::filesystem::path> path = RunningExecutable::path();
    ASSERT_TRUE(path);
    EXPECT_TRUE(path->is_absolute());
    EXPECT_EQ(path->filename(), "tallowbeck_tests");
    EXPECT_TRUE(std::filesystem::is_regular_file(*path));
}

}  // namespace
}  // namespace tallowbeck
