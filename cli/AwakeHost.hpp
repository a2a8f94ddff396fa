#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/platform/PowerManagement.hpp"
#include "TallowbeckCore/power/PowerController.hpp"
#include "TallowbeckCore/session/Session.hpp"
#include "TallowbeckCore/session/SessionThermalSafety.hpp"
#include "TallowbeckCore/temperature/TemperatureReading.hpp"
#include "cli/AwakeEvents.hpp"
#include "cli/AwakeOutput.hpp"
#include "cli/SessionClock.hpp"

namespace tallowbeck {
class PowerControlError;
class TemperatureHistoryStore;
}  // namespace tallowbeck

namespace tallowbeck::cli {

// Runs one keep-awake session in the foreground, in one loop on the calling thread: activates
// the power controller with the session's two choices, starts the watchdog in closed-lid mode,
// and on every update checks the end, sends the closed-lid setting again, takes a temperature
// sample and asks the thermal-safety rule, with the battery's temperature, whether heat must end
// the session. It ends at the session's end, on a stop signal, when the command or the watched
// process ends, or under thermal pressure, and always deactivates the controller before it
// returns.
class AwakeHost {
public:
    struct Settings {
        // At most one of the two; with neither the session runs until something else ends it.
        std::optional<double> lengthSeconds;
        std::optional<double> endsAt;  // seconds since 1970
        bool closedLidEnabled = false;
        bool allowsDisplaySleep = false;
        std::optional<double> recordingInterval;  // seconds; nothing records no samples
        std::int64_t retentionDays = 7;           // of the history samples are recorded to
    };

    struct Pieces {
        SessionClock& clock;
        AwakeEvents& events;
        PowerManagement& power;
        TemperatureReading& sensor;
        AwakeOutput& output;
        // Starts the watchdog for this process; throws std::exception when it cannot.
        std::function<void()> startWatchdog;
        // Where samples are recorded; needed only with a recording interval.
        TemperatureHistoryStore* history = nullptr;
    };

    static constexpr int activationFailedStatus = 1;
    static constexpr int commandNotFoundStatus = 127;
    static constexpr int commandNotRunnableStatus = 126;
    // Between attempts to deactivate, as the watchdog retries its restore.
    static constexpr double updatePeriod = 5.0;  // seconds
    static constexpr double deactivationRetryInterval = 2.0;
    static constexpr int deactivationAttempts = 3;

    AwakeHost(Settings settings, Pieces pieces) noexcept;

    // The whole session; returns the exit status: the ending's, 1 when it could not start, or
    // 127/126 (as a shell) when the command could not be run.
    int run();

private:
    struct Schedule {
        double nextUpdate;
        std::optional<double> nextRecording;
    };

    // The status to exit with when the session could not start; nothing when it did.
    std::optional<int> start(PowerController& controller, const Session& session);
    AwakeEnding runUntilEnd(PowerController& controller, const Session& session);
    std::optional<AwakeEnding> update(PowerController& controller, const Session& session,
                                      SessionThermalSafety& safety,
                                      const TemperatureSample& sample);
    void record(const TemperatureSample& sample);
    // Retries a failing deactivation a few times; what still fails is reported. Whatever the
    // process holds then goes with it, and the watchdog restores closed-lid sleep.
    void finish(PowerController& controller);
    // What the platform told of the failure in its own terms, in one line; the library's
    // sentence where it told nothing.
    std::string powerFailureText(const PowerControlError& error) const;
    double deadline(const Schedule& schedule, const Session& session) noexcept;

    Settings settings_;
    Pieces pieces_;
};

}  // namespace tallowbeck::cli
