#include <gtest/gtest.h>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"
#include "TallowbeckCore/platform/SystemDirectories.hpp"
#include "tests/fakes/FakeProcessCredentials.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;

// Linux has no "hw.model", so every fan operation stops at the model check.
TEST(LinuxFanBoostTests, EveryFanOperationIsUnsupported) {
    testing::FakeProcessCredentials superuser;
    FanBoostHardware hardware(SMCUserClient::system(), SystemValues::system(), superuser);
    for (const auto& operation : std::vector<std::function<void()>>{
             [&] { hardware.readFans(); }, [&] { hardware.setMaximum(); },
             [&] { hardware.restoreAutomatic(); }}) {
        const auto error = testing::thrown<FanBoostHardwareError>(operation);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->kind(), Kind::unsupported);
    }
}

TEST(LinuxFanBoostTests, TheRecoveryFlagLivesInTheSystemsStateFolder) {
    EXPECT_EQ(SystemDirectories::serviceState(), "/var/lib");
    EXPECT_EQ(FanBoostRecoveryFile::defaultPath(),
              "/var/lib/com.tallowbeck.Quillmoss.FanHelper/fan-boost-recovery");
}

// Linux has no fan controller, so the tool says why on one line and fails.
TEST(LinuxFanBoostTests, TheToolReportsUnreadableFansOnOneLineAndExitsWithStatusOne) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"fans"}, std::vector<std::string>{"fans", "--json"}}) {
        const testing::ProgramResult result = testing::runProgram(TALLOWBECK_CLI_PATH, arguments);
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError,
                  "tallowbeck: cannot read the fans: this Mac model is not supported\n");
    }
}

}  // namespace
}  // namespace tallowbeck
