#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"
#include "TallowbeckCore/power/PowerController.hpp"
#include "tests/fakes/FakePowerManagement.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using ::testing::ElementsAre;
using testing::FakePowerManagement;
using ::testing::IsEmpty;
using testing::thrown;

constexpr const char* createSystem =
    "create PreventUserIdleSystemSleep 255 Quillmoss active session";
constexpr const char* createDisplay =
    "create PreventUserIdleDisplaySleep 255 Quillmoss active session display";
constexpr std::int32_t someFailure = -536870212;
constexpr std::int32_t otherFailure = 42;

// An error of the test's own type, to see the setter's errors pass through untouched.
struct SetterError : std::runtime_error {
    explicit SetterError(int serialNumber)
        : std::runtime_error("setter failed"), serial(serialNumber) {}
    int serial;
};

enum class SetterAnswer { accept, fail };

// Drives a controller whose setter and releaser note their calls in the fake's list, beside the
// fake's own assertion creations.
class PowerControllerTests : public ::testing::Test {
protected:
    std::unique_ptr<PowerController> makeController() {
        return std::make_unique<PowerController>(
            [this](bool disabled) { setClamshell(disabled); },
            [this](std::uint32_t assertionID) { return platform.releaseAssertion(assertionID); },
            platform);
    }

    // Accepts every call unless a failure was prepared in `setterAnswers`.
    void setClamshell(bool disabled) {
        platform.note(disabled ? "setter true" : "setter false");
        if (duringSetter) {
            duringSetter();
        }
        if (!setterAnswers.empty()) {
            const auto answer = setterAnswers.front();
            setterAnswers.pop_front();
            if (answer == SetterAnswer::fail) {
                throw SetterError(++setterFailures);
            }
        }
    }

    // Runs `operation` and returns the serial number of the SetterError it threw.
    static std::optional<int> thrownSetterError(const std::function<void()>& operation) {
        try {
            operation();
        } catch (const SetterError& error) {
            return error.serial;
        }
        return std::nullopt;
    }

    FakePowerManagement platform;
    std::deque<SetterAnswer> setterAnswers;
    std::function<void()> duringSetter;
    int setterFailures = 0;
    std::unique_ptr<PowerController> controller = makeController();
};

TEST_F(PowerControllerTests, StartsIdle) {
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, DeactivateOnAFreshControllerMakesNoCall) {
    EXPECT_NO_THROW(controller->deactivate());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(PowerControllerTests, ActivateWithDisplaySleepAllowedAndLidOpenTakesOnlyTheSystemAssertion) {
    controller->activate(true, false);
    EXPECT_THAT(platform.calls, ElementsAre(createSystem));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, ActivateTakesBothAssertionsThenDisablesClosedLidSleep) {
    controller->activate(false, true);
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, createDisplay, "setter true"));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), 2u);
    EXPECT_TRUE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, ActivateWithDisplaySleepAllowedStillDisablesClosedLidSleep) {
    controller->activate(true, true);
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, "setter true"));
    EXPECT_TRUE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, FailedSetterDuringActivateReleasesBothAssertions) {
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->activate(false, true); }), 1);
    EXPECT_THAT(platform.calls,
                ElementsAre(createSystem, createDisplay, "setter true", "release 1", "release 2"));
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, FailedSetterDuringActivateReportsItsErrorOverAFailedRelease) {
    setterAnswers = {SetterAnswer::fail};
    platform.releaseStatuses = {someFailure};
    EXPECT_EQ(thrownSetterError([&] { controller->activate(false, true); }), 1);
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, SetterPowerControlErrorPassesThroughActivateUnchanged) {
    controller = std::make_unique<PowerController>(
        [](bool) { throw PowerControlError::clamshellUpdateFailed(otherFailure); },
        [this](std::uint32_t assertionID) { return platform.releaseAssertion(assertionID); },
        platform);
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->activate(true, true); }),
              PowerControlError::clamshellUpdateFailed(otherFailure));
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, "release 1"));
}

TEST_F(PowerControllerTests, FailedSystemAssertionStopsActivation) {
    platform.creationStatuses = {someFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->activate(false, true); }),
              PowerControlError::assertionFailed(someFailure));
    EXPECT_THAT(platform.calls, ElementsAre(createSystem));
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, FailedDisplayAssertionReleasesTheSystemAssertion) {
    platform.creationStatuses = {IOReturn::success, someFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->activate(false, true); }),
              PowerControlError::assertionFailed(someFailure));
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, createDisplay, "release 1"));
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, FailedDisplayAssertionReportsItselfOverAFailedCleanUpRelease) {
    platform.creationStatuses = {IOReturn::success, someFailure};
    platform.releaseStatuses = {otherFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->activate(false, false); }),
              PowerControlError::assertionFailed(someFailure));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
}

TEST_F(PowerControllerTests, ActivateTwiceRestoresAndReleasesTheFirstSessionBeforeTakingNewOnes) {
    controller->activate(false, true);
    platform.calls.clear();
    controller->activate(false, true);
    EXPECT_THAT(platform.calls, ElementsAre("setter false", "release 1", "release 2", createSystem,
                                            createDisplay, "setter true"));
    EXPECT_EQ(controller->systemAssertionID(), 3u);
    EXPECT_EQ(controller->displayAssertionID(), 4u);
    EXPECT_TRUE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, ActivateAfterAnOpenLidSessionDoesNotTouchClosedLidSleep) {
    controller->activate(true, false);
    platform.calls.clear();
    controller->activate(true, false);
    EXPECT_THAT(platform.calls, ElementsAre("release 1", createSystem));
}

TEST_F(PowerControllerTests, AnOpenLidActivationAfterAClosedLidOneLeavesNothingToReapply) {
    controller->activate(true, true);
    controller->activate(true, false);
    EXPECT_FALSE(controller->closedLidSleepDisabled());
    platform.calls.clear();
    controller->reapplyClosedLidSetting();
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(PowerControllerTests, ActivateChangesNothingWhenReEnablingClosedLidSleepFails) {
    controller->activate(false, true);
    platform.calls.clear();
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->activate(true, false); }), 1);
    EXPECT_THAT(platform.calls, ElementsAre("setter false"));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), 2u);
    EXPECT_TRUE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, ActivateTakesNothingWhenReleasingThePreviousAssertionsFails) {
    controller->activate(true, false);
    platform.calls.clear();
    platform.releaseStatuses = {someFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->activate(true, false); }),
              PowerControlError::assertionReleaseFailed(someFailure));
    EXPECT_THAT(platform.calls, ElementsAre("release 1"));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
}

TEST_F(PowerControllerTests, ReleaseAnsweringNotFoundCountsAsReleased) {
    controller->activate(false, false);
    platform.releaseStatuses = {IOReturn::notFound, IOReturn::notFound};
    EXPECT_NO_THROW(controller->deactivate());
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, FailedSystemReleaseKeepsItsIDAndStillReleasesTheDisplay) {
    controller->activate(false, false);
    platform.releaseStatuses = {someFailure, IOReturn::success};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->deactivate(); }),
              PowerControlError::assertionReleaseFailed(someFailure));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, FailedDisplayReleaseIsReportedWhenTheSystemReleaseSucceeds) {
    controller->activate(false, false);
    platform.releaseStatuses = {IOReturn::success, otherFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->deactivate(); }),
              PowerControlError::assertionReleaseFailed(otherFailure));
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), 2u);
}

TEST_F(PowerControllerTests, WhenBothReleasesFailTheSystemReleaseIsReported) {
    controller->activate(false, false);
    platform.releaseStatuses = {someFailure, otherFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller->deactivate(); }),
              PowerControlError::assertionReleaseFailed(someFailure));
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), 2u);
}

TEST_F(PowerControllerTests, IDsWhoseReleaseFailedAreRetriedByTheNextDeactivate) {
    controller->activate(false, false);
    platform.releaseStatuses = {someFailure, IOReturn::success};
    EXPECT_THROW(controller->deactivate(), PowerControlError);
    platform.calls.clear();
    EXPECT_NO_THROW(controller->deactivate());
    EXPECT_THAT(platform.calls, ElementsAre("release 1"));
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, DeactivateReEnablesClosedLidSleepThenReleases) {
    controller->activate(false, true);
    platform.calls.clear();
    controller->deactivate();
    EXPECT_THAT(platform.calls, ElementsAre("setter false", "release 1", "release 2"));
    EXPECT_FALSE(controller->closedLidSleepDisabled());
    EXPECT_EQ(controller->systemAssertionID(), std::nullopt);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, DeactivateLeavesClosedLidSleepAloneWhenItDidNotDisableIt) {
    controller->activate(true, false);
    platform.calls.clear();
    controller->deactivate();
    EXPECT_THAT(platform.calls, ElementsAre("release 1"));
}

TEST_F(PowerControllerTests, DeactivateReleasesEvenWhenReEnablingFailsAndReportsTheSetterError) {
    controller->activate(false, true);
    platform.calls.clear();
    setterAnswers = {SetterAnswer::fail};
    platform.releaseStatuses = {someFailure};
    EXPECT_EQ(thrownSetterError([&] { controller->deactivate(); }), 1);
    EXPECT_THAT(platform.calls, ElementsAre("setter false", "release 1", "release 2"));
    EXPECT_TRUE(controller->closedLidSleepDisabled());
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), std::nullopt);
}

TEST_F(PowerControllerTests, DeactivateRetriesAFailedReEnable) {
    controller->activate(true, true);
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->deactivate(); }), 1);
    platform.calls.clear();
    EXPECT_NO_THROW(controller->deactivate());
    EXPECT_THAT(platform.calls, ElementsAre("setter false"));
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, CustomSetterErrorPassesThroughUnchanged) {
    setterAnswers = {SetterAnswer::accept, SetterAnswer::fail};
    controller->activate(true, true);
    try {
        controller->deactivate();
        ADD_FAILURE() << "deactivate did not throw";
    } catch (const SetterError& error) {
        EXPECT_EQ(error.serial, 1);
        EXPECT_STREQ(error.what(), "setter failed");
    }
}

TEST_F(PowerControllerTests, ReapplySendsTheSettingAgainDuringAClosedLidSession) {
    controller->activate(true, true);
    platform.calls.clear();
    controller->reapplyClosedLidSetting();
    EXPECT_THAT(platform.calls, ElementsAre("setter true"));
    EXPECT_TRUE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, ReapplyDoesNothingWhenIdle) {
    controller->reapplyClosedLidSetting();
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(PowerControllerTests, ReapplyDoesNothingDuringAnOpenLidSession) {
    controller->activate(true, false);
    platform.calls.clear();
    controller->reapplyClosedLidSetting();
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(PowerControllerTests, ReapplyDoesNothingWithoutASystemAssertionEvenIfTheFlagIsRaised) {
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->restoreClosedLidSleep(); }), 1);
    ASSERT_TRUE(controller->closedLidSleepDisabled());
    platform.calls.clear();
    controller->reapplyClosedLidSetting();
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(PowerControllerTests, FailedReapplyReportsTheSetterErrorAndKeepsTheFlag) {
    controller->activate(true, true);
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->reapplyClosedLidSetting(); }), 1);
    EXPECT_TRUE(controller->closedLidSleepDisabled());
    EXPECT_EQ(controller->systemAssertionID(), 1u);
}

TEST_F(PowerControllerTests, RestoreReEnablesClosedLidSleepWithoutTouchingTheAssertions) {
    controller->activate(false, true);
    platform.calls.clear();
    controller->restoreClosedLidSleep();
    EXPECT_THAT(platform.calls, ElementsAre("setter false"));
    EXPECT_FALSE(controller->closedLidSleepDisabled());
    EXPECT_EQ(controller->systemAssertionID(), 1u);
    EXPECT_EQ(controller->displayAssertionID(), 2u);
}

TEST_F(PowerControllerTests, RestoreCallsTheSetterEvenOnAFreshControllerAndIsSafeToRepeat) {
    controller->restoreClosedLidSleep();
    controller->restoreClosedLidSleep();
    EXPECT_THAT(platform.calls, ElementsAre("setter false", "setter false"));
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, FailedRestoreLeavesTheFlagRaisedSoDeactivateTriesAgain) {
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->restoreClosedLidSleep(); }), 1);
    EXPECT_TRUE(controller->closedLidSleepDisabled());
    platform.calls.clear();
    controller->deactivate();
    EXPECT_THAT(platform.calls, ElementsAre("setter false"));
    EXPECT_FALSE(controller->closedLidSleepDisabled());
}

TEST_F(PowerControllerTests, TeardownReEnablesClosedLidSleepAfterAFailedRestore) {
    setterAnswers = {SetterAnswer::fail};
    EXPECT_EQ(thrownSetterError([&] { controller->restoreClosedLidSleep(); }), 1);
    platform.calls.clear();
    controller.reset();
    EXPECT_THAT(platform.calls, ElementsAre("setter false"));
}

TEST_F(PowerControllerTests, TeardownEndsAnActiveSession) {
    controller->activate(false, true);
    platform.calls.clear();
    controller.reset();
    EXPECT_THAT(platform.calls, ElementsAre("setter false", "release 1", "release 2"));
}

TEST_F(PowerControllerTests, TeardownSwallowsEveryFailure) {
    controller->activate(false, true);
    setterAnswers = {SetterAnswer::fail};
    platform.releaseStatuses = {someFailure, otherFailure};
    EXPECT_NO_THROW(controller.reset());
    EXPECT_EQ(setterFailures, 1);
    EXPECT_TRUE(platform.releaseStatuses.empty());
}

// How long another thread is given to get past the lock while an operation is inside the setter.
// A controller without the lock lets it through within microseconds.
constexpr auto chanceToGetPast = std::chrono::milliseconds(100);

// Starts `read` on another thread the first time the setter runs, and notes whether it was still
// waiting for the controller when the setter returned.
template <typename Value>
class ReadDuringSetter {
public:
    ReadDuringSetter(std::function<void()>& duringSetter, std::function<Value()> read)
        : read_(std::move(read)) {
        duringSetter = [this] {
            if (!seen_.valid()) {
                startReading();
            }
        };
    }

    bool stillWaitingWhileInsideTheSetter() const { return stillWaiting_; }
    Value seen() { return seen_.get(); }

private:
    void startReading() {
        std::promise<void> started;
        seen_ = std::async(std::launch::async, [this, &started] {
            started.set_value();
            return read_();
        });
        started.get_future().wait();
        stillWaiting_ = seen_.wait_for(chanceToGetPast) == std::future_status::timeout;
    }

    std::function<Value()> read_;
    std::future<Value> seen_;
    bool stillWaiting_ = false;
};

TEST_F(PowerControllerTests, AnotherThreadWaitsUntilActivateHasFinished) {
    ReadDuringSetter<bool> other(duringSetter,
                                 [&] { return controller->closedLidSleepDisabled(); });
    controller->activate(true, true);
    duringSetter = nullptr;
    EXPECT_TRUE(other.stillWaitingWhileInsideTheSetter());
    EXPECT_TRUE(other.seen());
}

TEST_F(PowerControllerTests, AnotherThreadWaitsUntilDeactivateHasFinished) {
    controller->activate(true, true);
    ReadDuringSetter<std::optional<std::uint32_t>> other(
        duringSetter, [&] { return controller->systemAssertionID(); });
    controller->deactivate();
    duringSetter = nullptr;
    EXPECT_TRUE(other.stillWaitingWhileInsideTheSetter());
    EXPECT_EQ(other.seen(), std::nullopt);
}

// The default collaborators go through the platform layer: the root domain's clamshell call
// for the setter and the platform's release for the releaser.
class DefaultPowerControllerTests : public ::testing::Test {
protected:
    FakePowerManagement platform;
    PowerController controller{platform};
};

TEST_F(DefaultPowerControllerTests, UsesThePlatformForEveryCall) {
    controller.activate(false, true);
    controller.deactivate();
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, createDisplay, "clamshell true",
                                            "clamshell false", "release 1", "release 2"));
}

TEST_F(DefaultPowerControllerTests, RejectedClamshellCallBecomesClamshellUpdateFailed) {
    using Outcome = PowerManagement::RootDomainCall::Outcome;
    platform.rootDomainCalls = {{.outcome = Outcome::callFailed, .status = someFailure}};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller.activate(true, true); }),
              PowerControlError::clamshellUpdateFailed(someFailure));
    EXPECT_THAT(platform.calls, ElementsAre(createSystem, "clamshell true", "release 1"));
}

TEST_F(DefaultPowerControllerTests, ReleaseStatusComesFromThePlatform) {
    controller.activate(true, false);
    platform.releaseStatuses = {otherFailure};
    EXPECT_EQ(thrown<PowerControlError>([&] { controller.deactivate(); }),
              PowerControlError::assertionReleaseFailed(otherFailure));
}

class SetClosedLidSleepDisabledTests : public ::testing::Test {
protected:
    using Outcome = PowerManagement::RootDomainCall::Outcome;
    FakePowerManagement platform;
};

TEST_F(SetClosedLidSleepDisabledTests, AcceptedCallReturnsAndPassesTheValueOn) {
    EXPECT_NO_THROW(PowerController::setClosedLidSleepDisabled(true, platform));
    EXPECT_NO_THROW(PowerController::setClosedLidSleepDisabled(false, platform));
    EXPECT_THAT(platform.calls, ElementsAre("clamshell true", "clamshell false"));
}

TEST_F(SetClosedLidSleepDisabledTests, MissingServiceIsRootDomainUnavailable) {
    platform.rootDomainCalls = {{.outcome = Outcome::serviceMissing, .status = 0}};
    EXPECT_EQ(thrown<PowerControlError>(
                  [&] { PowerController::setClosedLidSleepDisabled(false, platform); }),
              PowerControlError::rootDomainUnavailable());
}

TEST_F(SetClosedLidSleepDisabledTests, FailedOpenIsRootDomainOpenFailedWithItsStatus) {
    platform.rootDomainCalls = {{.outcome = Outcome::openFailed, .status = someFailure}};
    EXPECT_EQ(thrown<PowerControlError>(
                  [&] { PowerController::setClosedLidSleepDisabled(true, platform); }),
              PowerControlError::rootDomainOpenFailed(someFailure));
}

TEST_F(SetClosedLidSleepDisabledTests, FailedCallIsClamshellUpdateFailedWithItsStatus) {
    platform.rootDomainCalls = {{.outcome = Outcome::callFailed, .status = otherFailure}};
    EXPECT_EQ(thrown<PowerControlError>(
                  [&] { PowerController::setClosedLidSleepDisabled(true, platform); }),
              PowerControlError::clamshellUpdateFailed(otherFailure));
}

}  // namespace
}  // namespace tallowbeck
