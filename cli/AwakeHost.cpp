#include "cli/AwakeHost.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <limits>
#include <string>
#include <system_error>

#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"
#include "cli/SampleCommand.hpp"

namespace tallowbeck::cli {
namespace {

// The next time of something due every `interval` seconds: an overrun round is followed at once
// by the next, not by a burst of the ones it missed.
double nextTime(double previous, double interval, double now) noexcept {
    return std::max(previous + interval, now);
}

}  // namespace

AwakeHost::AwakeHost(Settings settings, Pieces pieces) noexcept
    : settings_(settings), pieces_(std::move(pieces)) {}

int AwakeHost::run() {
    const double startedAt = pieces_.clock.wallTime();
    const std::optional<double> endsAt =
        settings_.lengthSeconds ? startedAt + *settings_.lengthSeconds : settings_.endsAt;
    const Session session(
        startedAt, endsAt ? Session::Duration::until(*endsAt) : Session::Duration::indefinitely(),
        settings_.closedLidEnabled, settings_.allowsDisplaySleep);
    PowerController controller(pieces_.power);
    if (const std::optional<int> failure = start(controller, session)) {
        return *failure;
    }
    pieces_.output.started(session, pieces_.power.displayNotKeptOnReason());
    const AwakeEnding ending = runUntilEnd(controller, session);
    finish(controller);
    pieces_.output.ended(ending);
    return ending.exitStatus();
}

std::optional<int> AwakeHost::start(PowerController& controller, const Session& session) {
    // The watchdog comes first, so that no moment passes with closed-lid sleep off and nobody to
    // turn it back on should this process die; a restore with nothing to restore is harmless.
    try {
        if (session.closedLidEnabled()) {
            pieces_.startWatchdog();
        }
    } catch (const std::exception& error) {
        pieces_.output.problem(std::string("cannot start tallowbeck-watchdog: ") + error.what());
        return activationFailedStatus;
    }
    try {
        controller.activate(session.allowsDisplaySleep(), session.closedLidEnabled());
    } catch (const PowerControlError& error) {
        pieces_.output.problem(powerFailureText(error));
        return activationFailedStatus;
    }
    try {
        pieces_.events.begin();
    } catch (const std::system_error& error) {
        pieces_.output.problem(error.what());
        finish(controller);
        return error.code() == std::errc::no_such_file_or_directory ? commandNotFoundStatus
                                                                    : commandNotRunnableStatus;
    }
    return std::nullopt;
}

AwakeEnding AwakeHost::runUntilEnd(PowerController& controller, const Session& session) {
    SessionThermalSafety safety;
    const double begin = pieces_.clock.steadyTime();
    Schedule schedule{
        .nextUpdate = begin,
        .nextRecording = settings_.recordingInterval ? std::optional<double>(begin) : std::nullopt};
    for (;;) {
        if (session.isExpired(pieces_.clock.wallTime())) {
            return AwakeEnding::expired();
        }
        const double now = pieces_.clock.steadyTime();
        const bool updateDue = now >= schedule.nextUpdate;
        const bool recordingDue = schedule.nextRecording && now >= *schedule.nextRecording;
        if (updateDue || recordingDue) {
            // One reading serves both when they fall together.
            const TemperatureSample sample = SampleCommand::takeSample(pieces_.sensor, true);
            if (updateDue) {
                if (const std::optional<AwakeEnding> ending =
                        update(controller, session, safety, sample)) {
                    return *ending;
                }
                schedule.nextUpdate = nextTime(schedule.nextUpdate, updatePeriod, now);
            }
            if (recordingDue) {
                record(sample);
                schedule.nextRecording =
                    nextTime(*schedule.nextRecording, *settings_.recordingInterval, now);
            }
        }
        if (const std::optional<AwakeEnding> ending =
                pieces_.events.waitUntil(deadline(schedule, session))) {
            return *ending;
        }
    }
}

std::optional<AwakeEnding> AwakeHost::update(PowerController& controller, const Session& session,
                                             SessionThermalSafety& safety,
                                             const TemperatureSample& sample) {
    try {
        controller.reapplyClosedLidSetting();
    } catch (const PowerControlError& error) {
        pieces_.output.problem(powerFailureText(error));
    }
    const bool mustEnd =
        safety.evaluate(sample.thermalState(), sample.batteryCelsius(), pieces_.clock.steadyTime());
    pieces_.output.updated({.sample = sample,
                            .remainingTime = session.remainingTime(pieces_.clock.wallTime()),
                            .graceRemaining = safety.graceRemaining()});
    if (mustEnd) {
        return AwakeEnding::thermalPressure(sample.thermalState());
    }
    return std::nullopt;
}

void AwakeHost::record(const TemperatureSample& sample) {
    TemperatureHistoryStore& history = *pieces_.history;
    try {
        history.append(sample, settings_.retentionDays, pieces_.clock.wallTime());
    } catch (const std::exception& error) {
        // A history that cannot take the sample is no reason to let the machine sleep.
        pieces_.output.problem(history.fileURL().string() + ": " + error.what());
    }
}

void AwakeHost::finish(PowerController& controller) {
    for (int attempt = 1;; ++attempt) {
        try {
            controller.deactivate();
            return;
        } catch (const PowerControlError& error) {
            if (attempt == deactivationAttempts) {
                pieces_.output.problem(powerFailureText(error));
                return;
            }
        }
        // A signal or the command's end that comes meanwhile changes nothing any more, nor does
        // it shorten the wait.
        const double retryAt = pieces_.clock.steadyTime() + deactivationRetryInterval;
        while (pieces_.clock.steadyTime() < retryAt) {
            static_cast<void>(pieces_.events.waitUntil(retryAt));
        }
    }
}

std::string AwakeHost::powerFailureText(const PowerControlError& error) const {
    std::string detail = pieces_.power.failureDetail();
    return detail.empty() ? std::string(error.what()) : detail;
}

double AwakeHost::deadline(const Schedule& schedule, const Session& session) noexcept {
    const double now = pieces_.clock.steadyTime();
    double next =
        std::min(schedule.nextUpdate,
                 schedule.nextRecording.value_or(std::numeric_limits<double>::infinity()));
    if (const std::optional<double> remaining = session.remainingTime(pieces_.clock.wallTime())) {
        next = std::min(next, now + *remaining);
    }
    return next;
}

}  // namespace tallowbeck::cli
