// The Linux power layer against a real dbus-daemon, with logind and the screen saver mocked on
// private buses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/platform/linux/LinuxPowerManagement.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"
#include "TallowbeckCore/power/PowerController.hpp"
#include "tests/fakes/FakePowerManagement.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/EnvironmentVariable.hpp"
#include "tests/testing/PrivateBuses.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogindInhibitor;
using testing::PortalInhibition;
using testing::PrivateBuses;
using testing::ScreenSaverInhibition;
using testing::thrown;
using ::testing::UnorderedElementsAre;
using Outcome = PowerManagement::RootDomainCall::Outcome;

// logind and the screen saver hear of a closed descriptor or a vanished client a moment later.
constexpr auto releasePatience = 5s;

const LogindInhibitor idleLock{"idle", "Quillmoss", "Quillmoss active session", "block"};
const LogindInhibitor lidLock{"handle-lid-switch", "Quillmoss",
                              "Quillmoss keeps running with the lid closed", "block"};
const ScreenSaverInhibition displayInhibition{"Quillmoss", "Quillmoss active session display"};

bool holdsNothing(const PrivateBuses& buses) {
    return buses.logindInhibitors().empty() && buses.screenSaverInhibitions().empty();
}

TEST(LinuxPowerManagementTests, TheSystemAssertionIsAnIdleBlockLockOfLogind) {
    const PrivateBuses buses;
    LinuxPowerManagement power;

    const auto creation =
        power.createAssertion("PreventUserIdleSystemSleep", 255, "Quillmoss active session");

    ASSERT_EQ(creation.status, IOReturn::success);
    EXPECT_NE(creation.assertionID, 0u);
    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(idleLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), IsEmpty());
}

TEST(LinuxPowerManagementTests, ReleasingTheSystemAssertionClosesTheLock) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    const auto creation =
        power.createAssertion("PreventUserIdleSystemSleep", 255, "Quillmoss active session");

    EXPECT_EQ(power.releaseAssertion(creation.assertionID), IOReturn::success);

    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience,
                                           [&] { return buses.logindInhibitors().empty(); }));
    EXPECT_EQ(power.releaseAssertion(creation.assertionID), IOReturn::notFound);
}

TEST(LinuxPowerManagementTests, WithoutAPortalTheDisplayAssertionIsAScreenSaverInhibition) {
    const PrivateBuses buses;
    LinuxPowerManagement power;

    const auto creation = power.createAssertion("PreventUserIdleDisplaySleep", 255,
                                                "Quillmoss active session display");

    ASSERT_EQ(creation.status, IOReturn::success);
    EXPECT_THAT(buses.screenSaverInhibitions(), ElementsAre(displayInhibition));
    EXPECT_THAT(buses.logindInhibitors(), IsEmpty());
    EXPECT_EQ(power.releaseAssertion(creation.assertionID), IOReturn::success);
    EXPECT_THAT(buses.screenSaverInhibitions(), IsEmpty());
}

// As over SSH with X forwarding: a display is named, but no session bus is there.
TEST(LinuxPowerManagementTests, WithoutASessionBusTheDisplayAssertionHoldsNothingAndSaysWhy) {
    const PrivateBuses buses({.sessionBus = false});
    const testing::EnvironmentVariable display("DISPLAY", "localhost:10.0");
    LinuxPowerManagement power;

    const auto creation = power.createAssertion("PreventUserIdleDisplaySleep", 255,
                                                "Quillmoss active session display");

    ASSERT_EQ(creation.status, IOReturn::success);
    EXPECT_THAT(power.displayNotKeptOnReason(), HasSubstr("cannot connect to the session bus"));
    EXPECT_EQ(power.releaseAssertion(creation.assertionID), IOReturn::success);
    EXPECT_EQ(power.displayNotKeptOnReason(), "");
}

TEST(LinuxPowerManagementTests, WithoutADisplayTheDisplayAssertionHoldsNothingAndSaysWhy) {
    const PrivateBuses buses;
    const testing::EnvironmentVariable display("DISPLAY", std::nullopt);
    LinuxPowerManagement power;
    PowerController controller(power);

    controller.activate(false, true);

    EXPECT_EQ(power.displayNotKeptOnReason(), "neither WAYLAND_DISPLAY nor DISPLAY is set");
    EXPECT_THAT(buses.logindInhibitors(), UnorderedElementsAre(idleLock, lidLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), IsEmpty());
    controller.deactivate();
    EXPECT_EQ(power.displayNotKeptOnReason(), "");
}

TEST(LinuxPowerManagementTests, ADisplayKeptOnHasNoReasonNotToBe) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    ASSERT_EQ(power.createAssertion("PreventUserIdleDisplaySleep", 255, "display").status,
              IOReturn::success);
    EXPECT_EQ(power.displayNotKeptOnReason(), "");
}

TEST(LinuxPowerManagementTests, TheDisplayAssertionGoesToTheDesktopPortalFirst) {
    const PrivateBuses buses({.portal = true});
    LinuxPowerManagement power;

    const auto creation = power.createAssertion("PreventUserIdleDisplaySleep", 255,
                                                "Quillmoss active session display");

    ASSERT_EQ(creation.status, IOReturn::success);
    EXPECT_THAT(buses.portalInhibitions(),
                ElementsAre(PortalInhibition{8, "Quillmoss active session display", "held"}));
    EXPECT_THAT(buses.screenSaverInhibitions(), IsEmpty());
    EXPECT_EQ(power.releaseAssertion(creation.assertionID), IOReturn::success);
    EXPECT_THAT(buses.portalInhibitions(),
                ElementsAre(PortalInhibition{8, "Quillmoss active session display", "closed"}));
}

TEST(LinuxPowerManagementTests, EachAssertionHasAnIdOfItsOwn) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    const auto first = power.createAssertion("PreventUserIdleSystemSleep", 255, "first");
    const auto second = power.createAssertion("PreventUserIdleSystemSleep", 255, "second");
    ASSERT_NE(first.assertionID, second.assertionID);

    EXPECT_EQ(power.releaseAssertion(first.assertionID), IOReturn::success);

    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience, [&] {
        return buses.logindInhibitors() ==
               std::vector<LogindInhibitor>{{"idle", "Quillmoss", "second", "block"}};
    }));
}

TEST(LinuxPowerManagementTests, AnIdThatWasNeverHandedOutIsNotFound) {
    LinuxPowerManagement power;
    for (const std::uint32_t assertionID : {0u, 1u, std::numeric_limits<std::uint32_t>::max()}) {
        EXPECT_EQ(power.releaseAssertion(assertionID), IOReturn::notFound) << assertionID;
    }
}

TEST(LinuxPowerManagementTests, OtherAssertionTypesAreUnsupported) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    const auto creation = power.createAssertion("PreventSystemSleep", 255, "any name");
    EXPECT_EQ(creation.status, IOReturn::unsupported);
    EXPECT_THAT(power.failureDetail(), HasSubstr("PreventSystemSleep"));
    EXPECT_TRUE(holdsNothing(buses));
}

TEST(LinuxPowerManagementTests, DisablingClosedLidSleepTakesOneLidSwitchLock) {
    const PrivateBuses buses;
    LinuxPowerManagement power;

    EXPECT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::accepted);
    EXPECT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::accepted);

    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(lidLock));
}

TEST(LinuxPowerManagementTests, EnablingClosedLidSleepClosesTheLidSwitchLock) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    ASSERT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::accepted);

    const auto call = power.setClamshellSleepDisabled(false);

    EXPECT_EQ(call.outcome, Outcome::accepted);
    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience,
                                           [&] { return buses.logindInhibitors().empty(); }));
}

TEST(LinuxPowerManagementTests, EnablingClosedLidSleepWithoutALockSucceedsWithoutABus) {
    const testing::EnvironmentVariable noSystemBus("DBUS_SYSTEM_BUS_ADDRESS",
                                                   "unix:path=/nonexistent/bus");
    LinuxPowerManagement power;
    const auto call = power.setClamshellSleepDisabled(false);
    EXPECT_EQ(call.outcome, Outcome::accepted);
    EXPECT_EQ(call.status, IOReturn::success);
}

TEST(LinuxPowerManagementTests, AControllerSessionHoldsItsLocksUntilDeactivated) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    PowerController controller(power);

    controller.activate(false, true);

    EXPECT_THAT(buses.logindInhibitors(), UnorderedElementsAre(idleLock, lidLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), ElementsAre(displayInhibition));
    controller.deactivate();
    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience, [&] { return holdsNothing(buses); }));
}

TEST(LinuxPowerManagementTests, AllowingDisplaySleepTakesNoScreenSaverInhibition) {
    const PrivateBuses buses;
    LinuxPowerManagement power;
    PowerController controller(power);

    controller.activate(true, false);

    EXPECT_THAT(buses.logindInhibitors(), ElementsAre(idleLock));
    EXPECT_THAT(buses.screenSaverInhibitions(), IsEmpty());
}

TEST(LinuxPowerManagementTests, WithNeitherPortalNorScreenSaverTheActivationFailsAndLeavesNoLock) {
    const PrivateBuses buses({.logind = true, .screenSaver = false});
    LinuxPowerManagement power;
    PowerController controller(power);

    EXPECT_EQ(thrown<PowerControlError>([&] { controller.activate(false, true); }),
              PowerControlError::assertionFailed(IOReturn::unsupported));

    EXPECT_THAT(power.failureDetail(), ::testing::AllOf(HasSubstr("org.freedesktop.portal.Desktop"),
                                                        HasSubstr("org.freedesktop.ScreenSaver")));
    EXPECT_EQ(controller.systemAssertionID(), std::nullopt);
    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience,
                                           [&] { return buses.logindInhibitors().empty(); }));
}

TEST(LinuxPowerManagementTests, ARefusedLockFailsWithTheRefusalsErrno) {
    const PrivateBuses buses;
    buses.refuseLogindLocks({"idle", "handle-lid-switch"});
    LinuxPowerManagement power;

    EXPECT_EQ(
        power.createAssertion("PreventUserIdleSystemSleep", 255, "Quillmoss active session").status,
        -EACCES);
    EXPECT_THAT(power.failureDetail(), HasSubstr("Permission denied"));
    const auto call = power.setClamshellSleepDisabled(true);
    EXPECT_EQ(call.outcome, Outcome::callFailed);
    EXPECT_EQ(call.status, -EACCES);
    EXPECT_EQ(
        thrown<PowerControlError>([&] { PowerController::setClosedLidSleepDisabled(true, power); }),
        PowerControlError::clamshellUpdateFailed(-EACCES));
    EXPECT_THAT(buses.logindInhibitors(), IsEmpty());
}

TEST(LinuxPowerManagementTests, APolkitRefusalNamesTheLockTheServiceItsErrorAndWhatToDo) {
    const PrivateBuses buses;
    buses.refuseLogindLocks({"handle-lid-switch"});
    LinuxPowerManagement power;

    EXPECT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::callFailed);

    EXPECT_EQ(power.failureDetail(),
              "cannot take the closed-lid lock (handle-lid-switch) from logind "
              "(org.freedesktop.login1): org.freedesktop.DBus.Error.AccessDenied: Permission "
              "denied; polkit does not allow it from this session: run it from the machine's own "
              "session, or as root");
}

// A child process that runs `take`, which takes locks and then calls the function it is given:
// that tells the test the locks are taken and waits, the locks held, until the child is killed.
testing::ChildProcess childHolding(
    const std::function<void(const std::function<void()>& holdUntilKilled)>& take) {
    int ready[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ready) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    testing::ChildProcess child = testing::ChildProcess::fork([&] {
        take([&] {
            const char done = 1;
            static_cast<void>(::write(ready[1], &done, 1));
            for (;;) {
                ::pause();
            }
        });
        return 0;
    });
    char done = 0;
    const bool took = ::read(ready[0], &done, 1) == 1;
    ::close(ready[0]);
    ::close(ready[1]);
    if (!took) {
        throw std::runtime_error("the child could not take its locks");
    }
    return child;
}

TEST(LinuxPowerManagementTests, LocksOfAKilledProcessAreGone) {
    const PrivateBuses buses;
    testing::ChildProcess child = childHolding([](const std::function<void()>& holdUntilKilled) {
        LinuxPowerManagement power;
        PowerController controller(power);
        controller.activate(false, true);
        holdUntilKilled();
    });
    ASSERT_EQ(buses.logindInhibitors().size(), 2u);
    ASSERT_EQ(buses.screenSaverInhibitions().size(), 1u);

    child.signal(SIGKILL);
    EXPECT_EQ(child.waitForExit().shellStatus(), 128 + SIGKILL);

    EXPECT_TRUE(testing::becomesTrueWithin(releasePatience, [&] { return holdsNothing(buses); }));
}

TEST(LinuxPowerManagementTests, HeldLocksAreLogindsLocksOfEveryProcess) {
    const PrivateBuses buses;
    testing::ChildProcess child = childHolding([](const std::function<void()>& holdUntilKilled) {
        LinuxPowerManagement power("Other");
        static_cast<void>(power.createAssertion("PreventUserIdleSystemSleep", 255, "its job"));
        holdUntilKilled();
    });
    LinuxPowerManagement power;
    ASSERT_EQ(power.setClamshellSleepDisabled(true).outcome, Outcome::accepted);

    const std::vector<PowerManagement::HeldLock> locks = power.heldLocks();

    const auto uid = static_cast<std::uint32_t>(::getuid());
    EXPECT_THAT(
        locks, UnorderedElementsAre(
                   PowerManagement::HeldLock{"idle", "Other", "its job", "block", uid,
                                             static_cast<std::uint32_t>(child.pid())},
                   PowerManagement::HeldLock{"handle-lid-switch", "Quillmoss",
                                             "Quillmoss keeps running with the lid closed", "block",
                                             uid, static_cast<std::uint32_t>(::getpid())}));
    child.signal(SIGKILL);
    child.waitForExit();
}

TEST(LinuxPowerManagementTests, WithoutLogindTheLocksCannotBeListed) {
    const PrivateBuses buses({.logind = false, .screenSaver = false});
    LinuxPowerManagement power;
    const std::optional<std::runtime_error> error =
        thrown<std::runtime_error>([&] { static_cast<void>(power.heldLocks()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_THAT(error->what(), ::testing::StartsWith("cannot list the locks held by logind "
                                                     "(org.freedesktop.login1): "));
}

class LinuxPowerManagementWithoutLogindTests : public ::testing::TestWithParam<bool> {
protected:
    // Either a system bus on which logind is missing, or no system bus at all.
    LinuxPowerManagementWithoutLogindTests() {
        if (GetParam()) {
            buses_.emplace(PrivateBuses::Services{.logind = false, .screenSaver = false});
        } else {
            noBus_.emplace("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus");
            noSessionBus_.emplace("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        }
    }

private:
    std::optional<PrivateBuses> buses_;
    std::optional<testing::EnvironmentVariable> noBus_;
    std::optional<testing::EnvironmentVariable> noSessionBus_;
};

TEST_P(LinuxPowerManagementWithoutLogindTests, TheSystemAssertionIsUnsupportedForAGivenReason) {
    LinuxPowerManagement power;
    const auto creation =
        power.createAssertion("PreventUserIdleSystemSleep", 255, "Quillmoss active session");
    EXPECT_EQ(creation.status, IOReturn::unsupported);
    EXPECT_EQ(creation.assertionID, 0u);
    EXPECT_THAT(power.failureDetail(),
                ::testing::StartsWith("cannot take the idle lock from logind "
                                      "(org.freedesktop.login1): "));
}

TEST_P(LinuxPowerManagementWithoutLogindTests, TheRootDomainIsUnavailable) {
    LinuxPowerManagement power;
    EXPECT_EQ(
        thrown<PowerControlError>([&] { PowerController::setClosedLidSleepDisabled(true, power); }),
        PowerControlError::rootDomainUnavailable());
    EXPECT_NO_THROW(PowerController::setClosedLidSleepDisabled(false, power));
}

TEST_P(LinuxPowerManagementWithoutLogindTests, ControllerActivationFailsWithTheUnsupportedStatus) {
    LinuxPowerManagement power;
    PowerController controller(power);
    EXPECT_EQ(thrown<PowerControlError>([&] { controller.activate(true, true); }),
              PowerControlError::assertionFailed(IOReturn::unsupported));
    EXPECT_FALSE(controller.closedLidSleepDisabled());
    EXPECT_NO_THROW(controller.restoreClosedLidSleep());
}

INSTANTIATE_TEST_SUITE_P(NoLogind, LinuxPowerManagementWithoutLogindTests, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "OnTheBus" : "NoBus"; });

TEST(LinuxPowerManagementTests, SystemIsOneLinuxInstance) {
    PowerManagement& first = PowerManagement::system();
    EXPECT_NE(dynamic_cast<LinuxPowerManagement*>(&first), nullptr);
    EXPECT_EQ(&first, &PowerManagement::system());
}

TEST(LinuxPowerManagementTests, DefaultControllerRestoreSucceeds) {
    PowerController controller;
    EXPECT_NO_THROW(controller.restoreClosedLidSleep());
    EXPECT_FALSE(controller.closedLidSleepDisabled());
}

}  // namespace
}  // namespace tallowbeck
