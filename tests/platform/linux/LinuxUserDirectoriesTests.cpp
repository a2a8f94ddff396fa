#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "TallowbeckCore/platform/linux/LinuxUserDirectories.hpp"

namespace tallowbeck {
namespace {

using Variables = std::map<std::string, std::string>;

LinuxUserDirectories directoriesWith(Variables variables) {
    return LinuxUserDirectories(
        [variables = std::move(variables)](const char* name) -> std::optional<std::string> {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        });
}

TEST(LinuxUserDirectoriesTests, DataHomeWinsOverHome) {
    const auto directories =
        directoriesWith({{"XDG_DATA_HOME", "/data/home"}, {"HOME", "/home/u"}});
    EXPECT_EQ(directories.applicationSupport(), std::filesystem::path("/data/home"));
}

TEST(LinuxUserDirectoriesTests, WithoutDataHomeTheDataLivesInLocalShareBelowHome) {
    const auto directories = directoriesWith({{"HOME", "/home/u"}});
    EXPECT_EQ(directories.applicationSupport(), std::filesystem::path("/home/u/.local/share"));
}

TEST(LinuxUserDirectoriesTests, ARelativeDataHomeIsIgnored) {
    const auto directories = directoriesWith({{"XDG_DATA_HOME", "data"}, {"HOME", "/home/u"}});
    EXPECT_EQ(directories.applicationSupport(), std::filesystem::path("/home/u/.local/share"));
}

TEST(LinuxUserDirectoriesTests, AnEmptyDataHomeIsIgnored) {
    const auto directories = directoriesWith({{"XDG_DATA_HOME", ""}, {"HOME", "/home/u"}});
    EXPECT_EQ(directories.applicationSupport(), std::filesystem::path("/home/u/.local/share"));
}

TEST(LinuxUserDirectoriesTests, WithoutHomeOrDataHomeThereIsNoDirectory) {
    EXPECT_EQ(directoriesWith({}).applicationSupport(), std::nullopt);
    EXPECT_EQ(directoriesWith({{"HOME", "home/u"}}).applicationSupport(), std::nullopt);
}

TEST(LinuxUserDirectoriesTests, AnAbsoluteTmpdirIsTheTemporaryDirectory) {
    EXPECT_EQ(directoriesWith({{"TMPDIR", "/var/scratch"}}).temporary(),
              std::filesystem::path("/var/scratch"));
}

TEST(LinuxUserDirectoriesTests, WithoutAnAbsoluteTmpdirTheTemporaryDirectoryIsTmp) {
    EXPECT_EQ(directoriesWith({}).temporary(), std::filesystem::path("/tmp"));
    EXPECT_EQ(directoriesWith({{"TMPDIR", "scratch"}}).temporary(), std::filesystem::path("/tmp"));
    EXPECT_EQ(directoriesWith({{"TMPDIR", ""}}).temporary(), std::filesystem::path("/tmp"));
}

}  // namespace
}  // namespace tallowbeck
