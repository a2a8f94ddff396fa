#include "TallowbeckCore/power/PowerController.hpp"

#include <exception>
#include <utility>

#include "TallowbeckCore/platform/IOReturn.hpp"

namespace tallowbeck {
namespace {

constexpr std::uint32_t assertionLevelOn = 255;
constexpr const char* systemAssertionType = "PreventUserIdleSystemSleep";
constexpr const char* systemAssertionName = "Quillmoss active session";
constexpr const char* displayAssertionType = "PreventUserIdleDisplaySleep";
constexpr const char* displayAssertionName = "Quillmoss active session display";

// An assertion that is already gone is as good as released.
bool isReleased(std::int32_t status) {
    return status == IOReturn::success || status == IOReturn::notFound;
}

}  // namespace

PowerController::PowerController(PowerManagement& platform)
    : PowerController(
          [&platform](bool disabled) { setClosedLidSleepDisabled(disabled, platform); },
          [&platform](std::uint32_t assertionID) { return platform.releaseAssertion(assertionID); },
          platform) {}

PowerController::PowerController(ClamshellSetter clamshellSetter,
                                 AssertionReleaser assertionReleaser, PowerManagement& platform)
    : clamshellSetter_(std::move(clamshellSetter)),
      assertionReleaser_(std::move(assertionReleaser)),
      platform_(platform) {}

PowerController::~PowerController() {
    try {
        deactivate();
    } catch (...) {
        // Teardown has nobody to report to; what could not be undone stays as it is.
    }
}

void PowerController::activate(bool allowsDisplaySleep, bool closedLidEnabled) {
    const std::lock_guard guard(lock_);
    if (closedLidSleepDisabled_) {
        clamshellSetter_(false);
        closedLidSleepDisabled_ = false;
    }
    if (auto failure = releaseAssertions()) {
        throw *failure;
    }
    systemAssertionID_ = createAssertion(systemAssertionType, systemAssertionName);
    if (!allowsDisplaySleep) {
        releasingAssertionsOnFailure([this] {
            displayAssertionID_ = createAssertion(displayAssertionType, displayAssertionName);
        });
    }
    if (closedLidEnabled) {
        releasingAssertionsOnFailure([this] { clamshellSetter_(true); });
        closedLidSleepDisabled_ = true;
    }
}

void PowerController::deactivate() {
    const std::lock_guard guard(lock_);
    std::exception_ptr closedLidFailure;
    if (closedLidSleepDisabled_) {
        try {
            clamshellSetter_(false);
            closedLidSleepDisabled_ = false;
        } catch (...) {
            closedLidFailure = std::current_exception();
        }
    }
    const auto releaseFailure = releaseAssertions();
    if (closedLidFailure) {
        std::rethrow_exception(closedLidFailure);
    }
    if (releaseFailure) {
        throw *releaseFailure;
    }
}

void PowerController::reapplyClosedLidSetting() {
    const std::lock_guard guard(lock_);
    if (closedLidSleepDisabled_ && systemAssertionID_) {
        clamshellSetter_(true);
    }
}

void PowerController::restoreClosedLidSleep() {
    const std::lock_guard guard(lock_);
    // Raised first so that, should the call fail, deactivate and teardown try again.
    closedLidSleepDisabled_ = true;
    clamshellSetter_(false);
    closedLidSleepDisabled_ = false;
}

void PowerController::setClosedLidSleepDisabled(bool disabled, PowerManagement& platform) {
    using Outcome = PowerManagement::RootDomainCall::Outcome;
    const auto call = platform.setClamshellSleepDisabled(disabled);
    switch (call.outcome) {
        case Outcome::accepted:
            return;
        case Outcome::serviceMissing:
            throw PowerControlError::rootDomainUnavailable();
        case Outcome::openFailed:
            throw PowerControlError::rootDomainOpenFailed(call.status);
        case Outcome::callFailed:
            throw PowerControlError::clamshellUpdateFailed(call.status);
    }
}

std::optional<std::uint32_t> PowerController::systemAssertionID() const {
    const std::lock_guard guard(lock_);
    return systemAssertionID_;
}

std::optional<std::uint32_t> PowerController::displayAssertionID() const {
    const std::lock_guard guard(lock_);
    return displayAssertionID_;
}

bool PowerController::closedLidSleepDisabled() const {
    const std::lock_guard guard(lock_);
    return closedLidSleepDisabled_;
}

std::optional<PowerControlError> PowerController::releaseAssertions() {
    const auto systemFailure = releaseAssertion(systemAssertionID_);
    const auto displayFailure = releaseAssertion(displayAssertionID_);
    return systemFailure ? systemFailure : displayFailure;
}

std::optional<PowerControlError> PowerController::releaseAssertion(
    std::optional<std::uint32_t>& assertionID) {
    if (!assertionID) {
        return std::nullopt;
    }
    const auto status = assertionReleaser_(*assertionID);
    if (!isReleased(status)) {
        return PowerControlError::assertionReleaseFailed(status);
    }
    assertionID.reset();
    return std::nullopt;
}

std::uint32_t PowerController::createAssertion(const char* type, const char* name) {
    const auto creation = platform_.createAssertion(type, assertionLevelOn, name);
    if (creation.status != IOReturn::success) {
        throw PowerControlError::assertionFailed(creation.status);
    }
    return creation.assertionID;
}

void PowerController::releasingAssertionsOnFailure(const std::function<void()>& step) {
    try {
        step();
    } catch (...) {
        // The step's own error is the one to report; a failed release keeps its id for later.
        static_cast<void>(releaseAssertions());
        throw;
    }
}

}  // namespace tallowbeck
