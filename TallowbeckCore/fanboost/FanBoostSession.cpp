#include "TallowbeckCore/fanboost/FanBoostSession.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;

FanBoostStatus idleStatus(std::optional<std::string> message, bool restorationPending = false) {
    return {.enabled = false,
            .boosting = false,
            .restorationPending = restorationPending,
            .fans = {},
            .error = std::move(message)};
}

// Exactly two fans, each plausible, which also makes each fan 0 or 1.
bool isPairOfPlausibleFans(const std::vector<FanSpeed>& fans) noexcept {
    return fans.size() == 2 && std::ranges::all_of(fans, &FanSpeed::isPlausible);
}

bool isAutomatic(const FanSpeed& fan) noexcept { return !fan.manual; }

// A fan forced while it should be automatic means another controller is at work.
void requireAutomaticFans(const std::vector<FanSpeed>& fans) {
    if (!isPairOfPlausibleFans(fans)) {
        throw FanBoostHardwareError(Kind::invalidReading);
    }
    if (!std::ranges::all_of(fans, isAutomatic)) {
        throw FanBoostHardwareError(Kind::competingController);
    }
}

void requireFansAtMaximum(const std::vector<FanSpeed>& fans) {
    if (!isPairOfPlausibleFans(fans) || !std::ranges::all_of(fans, &FanSpeed::holdsMaximum)) {
        throw FanBoostHardwareError(Kind::rejected);
    }
}

// Runs `change`; false when the fans, or the journal's flag, could not be changed.
template <typename Change>
bool succeeded(Change&& change) {
    try {
        std::forward<Change>(change)();
        return true;
    } catch (const FanBoostHardwareError&) {
        return false;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace

FanBoostSession::FanBoostSession(FanBoostControlling& hardware, FanBoostRecoveryJournal& journal,
                                 std::function<SystemThermalState()> thermalState,
                                 std::function<double()> wallClock)
    : hardware_(hardware),
      journal_(journal),
      thermalState_(std::move(thermalState)),
      wallClock_(std::move(wallClock)) {
    if (journal_.isPending()) {
        settle(std::string(recoveringMessage));
    }
}

bool FanBoostSession::isOwner(const UUID& client) const noexcept {
    return owner_ && *owner_ == client;
}

// Written so that a NaN uptime lapses too.
bool FanBoostSession::leaseHasLapsed(double uptime) const noexcept {
    return !(std::isfinite(uptime) && uptime >= heartbeatAt_ &&
             uptime - heartbeatAt_ < leaseSeconds);
}

bool FanBoostSession::needsTick() noexcept { return owner_ || journal_.isPending(); }

FanBoostStatus FanBoostSession::begin(const FanBoostConfiguration& configuration, const UUID& owner,
                                      double uptime) {
    if (!configuration.isValid() || !std::isfinite(uptime)) {
        return idleStatus(std::string(invalidThresholdsMessage));
    }
    const bool restorationPending = journal_.isPending();
    if ((owner_ && *owner_ != owner) || restorationPending) {
        return idleStatus(std::string(busyMessage), restorationPending);
    }
    std::vector<FanSpeed> fans;
    try {
        fans = hardware_.readFans();
        requireAutomaticFans(fans);
    } catch (const FanBoostHardwareError&) {
        status_ = idleStatus(std::string(unavailableMessage));
        return status_;
    }
    owner_ = owner;
    configuration_ = configuration;
    heartbeatAt_ = uptime;
    policy_.boosting = false;
    publishActive(std::move(fans), false);
    tick(uptime);
    return status_;
}

FanBoostStatus FanBoostSession::heartbeat(const UUID& owner, double uptime) {
    if (isOwner(owner)) {
        if (leaseHasLapsed(uptime)) {
            stop(owner);
        } else {
            heartbeatAt_ = uptime;
        }
    }
    return status_;
}

void FanBoostSession::stop(const UUID& owner) {
    if (!isOwner(owner)) {
        return;
    }
    owner_.reset();
    configuration_.reset();
    policy_.boosting = false;
    settle(std::nullopt);
}

void FanBoostSession::tick(double uptime) {
    if (!configuration_ || !owner_) {
        // A failed restoration is retried here, keeping the message it is reported with.
        if (journal_.isPending()) {
            settle(status_.error);
        }
        return;
    }
    if (leaseHasLapsed(uptime)) {
        endBoost(expiredMessage);
        return;
    }
    const ChipTemperatureReading reading = hardware_.readChips();
    const SystemThermalState state = thermalState_();
    const double now = wallClock_();
    followPolicy(policy_.action(*configuration_, reading, state, now));
}

void FanBoostSession::followPolicy(FanBoostPolicy::Action action) {
    if (action == FanBoostPolicy::Action::stop) {
        endBoost(staleReadingsMessage);
        return;
    }
    const bool followed = succeeded([this, action] {
        if (action == FanBoostPolicy::Action::automatic) {
            releaseFans();
        } else {
            holdFansAtMaximum();
        }
    });
    if (!followed) {
        endBoost(rejectedMessage);
    }
}

void FanBoostSession::releaseFans() {
    if (journal_.isPending()) {
        hardware_.restoreAutomatic();
        journal_.setPending(false);
    }
    std::vector<FanSpeed> fans = hardware_.readFans();
    requireAutomaticFans(fans);
    publishActive(std::move(fans), false);
}

// Fans forced by an earlier tick are only checked again, not written again.
void FanBoostSession::holdFansAtMaximum() {
    if (!journal_.isPending()) {
        journal_.setPending(true);
        hardware_.setMaximum();
    }
    std::vector<FanSpeed> fans = hardware_.readFans();
    requireFansAtMaximum(fans);
    publishActive(std::move(fans), true);
}

void FanBoostSession::publishActive(std::vector<FanSpeed> fans, bool boosting) {
    status_ = {.enabled = true,
               .boosting = boosting,
               .restorationPending = false,
               .fans = std::move(fans),
               .error = std::nullopt};
}

void FanBoostSession::endBoost(std::string_view message) {
    owner_.reset();
    configuration_.reset();
    settle(std::string(message));
}

void FanBoostSession::settle(std::optional<std::string> message) {
    const bool restored = !journal_.isPending() || succeeded([this] {
        hardware_.restoreAutomatic();
        journal_.setPending(false);
    });
    if (restored) {
        status_ = idleStatus(std::move(message));
        return;
    }
    // The fans may still be forced, so the status says they are.
    status_ = {.enabled = false,
               .boosting = true,
               .restorationPending = true,
               .fans = {},
               .error = std::string(restoreFailedMessage)};
}

}  // namespace tallowbeck
