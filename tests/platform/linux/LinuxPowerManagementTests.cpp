#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/platform/linux/LinuxPowerManagement.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"
#include "TallowbeckCore/power/PowerController.hpp"
#include "tests/fakes/FakePowerManagement.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::thrown;
using Outcome = PowerManagement::RootDomainCall::Outcome;

TEST(LinuxPowerManagementTests, NoAssertionCanBeCreated) {
    LinuxPowerManagement power;
    const auto creation = power.createAssertion("PreventUserIdleSystemSleep", 255, "any name");
    EXPECT_EQ(creation.status, IOReturn::unsupported);
    EXPECT_EQ(creation.assertionID, 0u);
}

TEST(LinuxPowerManagementTests, EveryReleaseFindsNothing) {
    LinuxPowerManagement power;
    for (const std::uint32_t assertionID : {0u, 1u, std::numeric_limits<std::uint32_t>::max()}) {
        EXPECT_EQ(power.releaseAssertion(assertionID), IOReturn::notFound) << assertionID;
    }
}

TEST(LinuxPowerManagementTests, DisablingClosedLidSleepFindsNoRootDomain) {
    LinuxPowerManagement power;
    EXPECT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::serviceMissing);
}

TEST(LinuxPowerManagementTests, ReEnablingClosedLidSleepIsAccepted) {
    LinuxPowerManagement power;
    const auto call = power.setClamshellSleepDisabled(false);
    EXPECT_EQ(call.outcome, Outcome::accepted);
    EXPECT_EQ(call.status, IOReturn::success);
}

TEST(LinuxPowerManagementTests, SystemIsOneLinuxInstance) {
    PowerManagement& first = PowerManagement::system();
    EXPECT_NE(dynamic_cast<LinuxPowerManagement*>(&first), nullptr);
    EXPECT_EQ(&first, &PowerManagement::system());
}

TEST(LinuxPowerManagementTests, ControllerActivationFailsWithTheUnsupportedStatus) {
    LinuxPowerManagement power;
    PowerController controller(power);
    EXPECT_EQ(thrown<PowerControlError>([&] { controller.activate(false, true); }),
              PowerControlError::assertionFailed(IOReturn::unsupported));
    EXPECT_EQ(controller.systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller.displayAssertionID(), std::nullopt);
    EXPECT_FALSE(controller.closedLidSleepDisabled());
}

TEST(LinuxPowerManagementTests, ControllerRestoreSucceeds) {
    LinuxPowerManagement power;
    PowerController controller(power);
    EXPECT_NO_THROW(controller.restoreClosedLidSleep());
    EXPECT_FALSE(controller.closedLidSleepDisabled());
}

TEST(LinuxPowerManagementTests, DefaultControllerRestoreSucceeds) {
    PowerController controller;
    EXPECT_NO_THROW(controller.restoreClosedLidSleep());
    EXPECT_FALSE(controller.closedLidSleepDisabled());
}

TEST(LinuxPowerManagementTests, DisablingClosedLidSleepThrowsRootDomainUnavailable) {
    LinuxPowerManagement power;
    EXPECT_EQ(
        thrown<PowerControlError>([&] { PowerController::setClosedLidSleepDisabled(true, power); }),
        PowerControlError::rootDomainUnavailable());
    EXPECT_EQ(thrown<PowerControlError>([] { PowerController::setClosedLidSleepDisabled(true); }),
              PowerControlError::rootDomainUnavailable());
}

TEST(LinuxPowerManagementTests, ReEnablingClosedLidSleepThroughTheControllerSucceeds) {
    LinuxPowerManagement power;
    EXPECT_NO_THROW(PowerController::setClosedLidSleepDisabled(false, power));
}

}  // namespace
}  // namespace tallowbeck
