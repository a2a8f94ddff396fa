#include "tests/testing/ReferenceFanBoostSession.hpp"

#include <cmath>
#include <system_error>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"

namespace tallowbeck::testing {
namespace {

const std::string recovering = "Fan Boost is recovering automatic fan control.";
const std::string outOfRange =
    "Choose a fan boost temperature from 65 to 95 \xC2\xB0"
    "C.";
const std::string busy = "Fan Boost is already active or restoring automatic control.";
const std::string unavailable =
    "Fan Boost is unavailable. Use macOS Automatic and turn off other fan controllers.";
const std::string expired = "Fan Boost stopped because its connection expired.";
const std::string stale = "Fan Boost stopped because fresh CPU/GPU readings are unavailable.";
const std::string rejected = "macOS rejected fan control. Fan Boost is restoring Automatic.";
const std::string retrying =
    "Automatic fan control could not be restored yet. Fan Boost will keep retrying.";

bool inRange(double value, double low, double high) { return low <= value && value <= high; }

bool thresholdsAreUsable(const FanBoostConfiguration& configuration) {
    return inRange(configuration.cpuThresholdCelsius, 65.0, 95.0) &&
           inRange(configuration.gpuThresholdCelsius, 65.0, 95.0);
}

bool fanIsPlausible(const FanSpeed& fan) {
    bool plausible = fan.id == 0 || fan.id == 1;
    for (const double rpm : {fan.actualRPM, fan.minimumRPM, fan.maximumRPM, fan.targetRPM}) {
        plausible = plausible && std::isfinite(rpm) && inRange(rpm, 0.0, 20000.0);
    }
    plausible = plausible && fan.minimumRPM >= 500.0 && fan.minimumRPM < fan.maximumRPM &&
                fan.maximumRPM <= 10000.0 && fan.targetRPM <= fan.maximumRPM;
    if (fan.manual) {
        plausible = plausible && fan.minimumRPM <= fan.targetRPM;
    }
    return plausible;
}

// The two fans, plausible, all in the wanted state.
bool fansAre(const std::vector<FanSpeed>& fans, bool forcedAtMaximum) {
    if (fans.size() != 2) {
        return false;
    }
    for (const FanSpeed& fan : fans) {
        if (!fanIsPlausible(fan) || fan.manual != forcedAtMaximum) {
            return false;
        }
        if (forcedAtMaximum && !(std::fabs(fan.targetRPM - fan.maximumRPM) < 1.0)) {
            return false;
        }
    }
    return true;
}

// Runs `step`; false when the hardware or the journal failed.
template <typename Step>
bool worked(Step step) {
    try {
        step();
    } catch (const FanBoostHardwareError&) {
        return false;
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

}  // namespace

ReferenceFanBoostSession::ReferenceFanBoostSession(FanBoostControlling& hardware,
                                                   FanBoostRecoveryJournal& journal,
                                                   std::function<SystemThermalState()> thermalState,
                                                   std::function<double()> wallClock)
    : hardware_(hardware),
      journal_(journal),
      thermalState_(std::move(thermalState)),
      wallClock_(std::move(wallClock)) {
    if (journal_.isPending()) {
        settle(recovering);
    }
}

bool ReferenceFanBoostSession::takeFansPublished() noexcept {
    return std::exchange(fansPublished_, false);
}

void ReferenceFanBoostSession::publish(Published status) {
    fansPublished_ = !status.fans.empty();
    published_ = std::move(status);
}

bool ReferenceFanBoostSession::holds(const UUID& client) const {
    return holder_.has_value() && *holder_ == client;
}

bool ReferenceFanBoostSession::leaseOver(double uptime) const {
    if (std::isnan(uptime) || std::isinf(uptime) || uptime < renewedAt_) {
        return true;
    }
    return uptime - renewedAt_ >= 15.0;
}

bool ReferenceFanBoostSession::needsTick() { return holder_.has_value() || journal_.isPending(); }

void ReferenceFanBoostSession::settle(std::optional<std::string> message) {
    if (journal_.isPending()) {
        const bool restored = worked([this] {
            hardware_.restoreAutomatic();
            journal_.setPending(false);
        });
        if (!restored) {
            publish({.enabled = false,
                     .boosting = true,
                     .restorationPending = true,
                     .fans = {},
                     .error = retrying});
            return;
        }
    }
    publish({.enabled = false,
             .boosting = false,
             .restorationPending = false,
             .fans = {},
             .error = std::move(message)});
}

void ReferenceFanBoostSession::end(const std::string& message) {
    holder_.reset();
    thresholds_.reset();
    settle(message);
}

ReferenceFanBoostSession::Published ReferenceFanBoostSession::begin(
    const FanBoostConfiguration& configuration, const UUID& client, double uptime) {
    if (!thresholdsAreUsable(configuration) || !std::isfinite(uptime)) {
        return {.enabled = false,
                .boosting = false,
                .restorationPending = false,
                .fans = {},
                .error = outOfRange};
    }
    const bool flagged = journal_.isPending();
    if (flagged || (holder_.has_value() && !(*holder_ == client))) {
        return {.enabled = false,
                .boosting = false,
                .restorationPending = flagged,
                .fans = {},
                .error = busy};
    }
    std::vector<FanSpeed> fans;
    if (!worked([&] { fans = hardware_.readFans(); }) || !fansAre(fans, false)) {
        publish({.enabled = false,
                 .boosting = false,
                 .restorationPending = false,
                 .fans = {},
                 .error = unavailable});
        return published_;
    }
    holder_ = client;
    thresholds_ = configuration;
    renewedAt_ = uptime;
    hot_ = false;
    publish({.enabled = true,
             .boosting = false,
             .restorationPending = false,
             .fans = std::move(fans),
             .error = std::nullopt});
    tick(uptime);
    return published_;
}

ReferenceFanBoostSession::Published ReferenceFanBoostSession::heartbeat(const UUID& client,
                                                                        double uptime) {
    if (holds(client)) {
        if (leaseOver(uptime)) {
            stop(client);
        } else {
            renewedAt_ = uptime;
        }
    }
    return published_;
}

void ReferenceFanBoostSession::stop(const UUID& client) {
    if (!holds(client)) {
        return;
    }
    holder_.reset();
    thresholds_.reset();
    hot_ = false;
    settle(std::nullopt);
}

void ReferenceFanBoostSession::tick(double uptime) {
    if (!holder_ || !thresholds_) {
        if (journal_.isPending()) {
            settle(published_.error);
        }
        return;
    }
    if (leaseOver(uptime)) {
        end(expired);
        return;
    }
    const ChipTemperatureReading chips = hardware_.readChips();
    const SystemThermalState state = thermalState_();
    const double now = wallClock_();
    const FanBoostConfiguration& limits = *thresholds_;
    const double age = now - chips.recordedAt;
    const bool trustworthy = thresholdsAreUsable(limits) && inRange(age, 0.0, 10.0) &&
                             chips.cpuCelsius && chips.gpuCelsius &&
                             inRange(*chips.cpuCelsius, 1.0, 125.0) &&
                             inRange(*chips.gpuCelsius, 1.0, 125.0);
    if (!trustworthy) {
        hot_ = false;
        end(stale);
        return;
    }
    const double cpu = *chips.cpuCelsius;
    const double gpu = *chips.gpuCelsius;
    const bool pressure =
        state == SystemThermalState::serious || state == SystemThermalState::critical;
    if (pressure || cpu > limits.cpuThresholdCelsius || gpu > limits.gpuThresholdCelsius) {
        hot_ = true;
    } else if (cpu < limits.cpuThresholdCelsius - 8.0 && gpu < limits.gpuThresholdCelsius - 8.0) {
        hot_ = false;
    }
    std::vector<FanSpeed> fans;
    bool fine = false;
    if (hot_) {
        fine = worked([&] {
            if (!journal_.isPending()) {
                journal_.setPending(true);
                hardware_.setMaximum();
            }
            fans = hardware_.readFans();
        });
    } else {
        fine = worked([&] {
            if (journal_.isPending()) {
                hardware_.restoreAutomatic();
                journal_.setPending(false);
            }
            fans = hardware_.readFans();
        });
    }
    if (!fine || !fansAre(fans, hot_)) {
        end(rejected);
        return;
    }
    publish({.enabled = true,
             .boosting = hot_,
             .restorationPending = false,
             .fans = std::move(fans),
             .error = std::nullopt});
}

}  // namespace tallowbeck::testing
