#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostControlling.hpp"
#include "TallowbeckCore/fanboost/FanBoostRecoveryJournal.hpp"
#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck::testing {

// A second, separately written account of the fan boost session and its policy, kept as plain
// as the rules are stated, for the model-based test to hold the library's session against step
// by step. It shares nothing with the library's session: its own thresholds check, plausibility,
// hysteresis and messages. It drives the same kind of hardware and journal, so that two of them
// on identical simulated machines must make identical calls.
class ReferenceFanBoostSession {
public:
    struct Published {
        bool enabled = false;
        bool boosting = false;
        bool restorationPending = false;
        std::vector<FanSpeed> fans;
        std::optional<std::string> error;
    };

    ReferenceFanBoostSession(FanBoostControlling& hardware, FanBoostRecoveryJournal& journal,
                             std::function<SystemThermalState()> thermalState,
                             std::function<double()> wallClock);

    Published begin(const FanBoostConfiguration& configuration, const UUID& client, double uptime);
    Published heartbeat(const UUID& client, double uptime);
    void stop(const UUID& client);
    void tick(double uptime);
    bool needsTick();

    const Published& published() const noexcept { return published_; }
    // Whether the last status published since the last call of this holds fans read from the
    // hardware.
    bool takeFansPublished() noexcept;

private:
    void publish(Published status);
    void settle(std::optional<std::string> message);
    void end(const std::string& message);
    bool holds(const UUID& client) const;
    bool leaseOver(double uptime) const;

    FanBoostControlling& hardware_;
    FanBoostRecoveryJournal& journal_;
    std::function<SystemThermalState()> thermalState_;
    std::function<double()> wallClock_;
    std::optional<UUID> holder_;
    std::optional<FanBoostConfiguration> thresholds_;
    double renewedAt_ = 0.0;
    bool hot_ = false;
    Published published_;
    bool fansPublished_ = false;
};

}  // namespace tallowbeck::testing
