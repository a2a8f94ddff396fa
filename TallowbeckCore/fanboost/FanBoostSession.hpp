#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostControlling.hpp"
#include "TallowbeckCore/fanboost/FanBoostPolicy.hpp"
#include "TallowbeckCore/fanboost/FanBoostRecoveryJournal.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"
#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {

// The fan helper's state machine. One client at a time owns a fan boost: it begins it with its
// thresholds, keeps it alive with heartbeats and stops it; a periodic tick reads the chips, asks
// the policy and drives the fans. The recovery flag is made durable before the first forcing
// write and cleared only once automatic control is verified, so a helper that dies with the fans
// forced restores them when it starts again.
//
// Uptimes are seconds of a monotonic clock chosen by the caller. The session takes no lock: its
// caller runs every operation, requests and ticks alike, one at a time on one context. The
// hardware and the journal must outlive the session.
class FanBoostSession {
public:
    // An owner that sends no heartbeat for this long, in seconds of uptime, loses its boost.
    static constexpr double leaseSeconds = 15.0;

    static constexpr std::string_view recoveringMessage =
        "Fan Boost is recovering automatic fan control.";
    static constexpr std::string_view invalidThresholdsMessage =
        "Choose a fan boost temperature from 65 to 95 \u00B0C.";
    static constexpr std::string_view busyMessage =
        "Fan Boost is already active or restoring automatic control.";
    static constexpr std::string_view unavailableMessage =
        "Fan Boost is unavailable. Use macOS Automatic and turn off other fan controllers.";
    static constexpr std::string_view expiredMessage =
        "Fan Boost stopped because its connection expired.";
    static constexpr std::string_view staleReadingsMessage =
        "Fan Boost stopped because fresh CPU/GPU readings are unavailable.";
    static constexpr std::string_view rejectedMessage =
        "macOS rejected fan control. Fan Boost is restoring Automatic.";
    static constexpr std::string_view restoreFailedMessage =
        "Automatic fan control could not be restored yet. Fan Boost will keep retrying.";

    // Restores automatic control at once when the journal says it is pending.
    FanBoostSession(FanBoostControlling& hardware, FanBoostRecoveryJournal& journal,
                    std::function<SystemThermalState()> thermalState,
                    std::function<double()> wallClock);

    FanBoostStatus begin(const FanBoostConfiguration& configuration, const UUID& owner,
                         double uptime);
    // Renews the owner's lease, or ends the boost without a message when it has lapsed. Other
    // clients change nothing.
    FanBoostStatus heartbeat(const UUID& owner, double uptime);
    // Ends the owner's boost; other clients change nothing.
    void stop(const UUID& owner);
    // The host calls this periodically while `needsTick` holds.
    void tick(double uptime);

    // An owner holds a boost, or automatic control still has to be restored.
    bool needsTick() noexcept;
    const FanBoostStatus& status() const noexcept { return status_; }

private:
    bool isOwner(const UUID& client) const noexcept;
    bool leaseHasLapsed(double uptime) const noexcept;

    // Restores automatic control if the journal says so, then publishes an idle status with
    // `message`, or the retry status when the restoration failed.
    void settle(std::optional<std::string> message);
    void endBoost(std::string_view message);
    void followPolicy(FanBoostPolicy::Action action);
    void releaseFans();
    void holdFansAtMaximum();
    void publishActive(std::vector<FanSpeed> fans, bool boosting);

    FanBoostControlling& hardware_;
    FanBoostRecoveryJournal& journal_;
    std::function<SystemThermalState()> thermalState_;
    std::function<double()> wallClock_;
    std::optional<UUID> owner_;
    std::optional<FanBoostConfiguration> configuration_;
    double heartbeatAt_ = 0.0;
    FanBoostPolicy policy_;
    FanBoostStatus status_;
};

}  // namespace tallowbeck
