#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "cli/AwakeEvents.hpp"
#include "cli/SessionClock.hpp"

namespace tallowbeck::testing {

// A session's clocks and events in virtual time: a wait moves both clocks on to its deadline, or
// to the first scripted event before it, which it then delivers. Nothing ever sleeps.
class VirtualSessionTime final : public cli::SessionClock, public cli::AwakeEvents {
public:
    static constexpr double startWallTime = 1'700'000'000.0;
    static constexpr double startSteadyTime = 1000.0;

    double wall = startWallTime;
    double steady = startSteadyTime;
    // Thrown by begin() instead of starting the command.
    std::optional<std::system_error> commandFailure;
    bool begun = false;

    // Delivers `ending` `seconds` after the start.
    void at(double seconds, cli::AwakeEnding ending) { events_.emplace(seconds, ending); }
    // Seconds since the start on the steady clock.
    double elapsed() const noexcept { return steady - startSteadyTime; }

    double wallTime() noexcept override { return wall; }
    double steadyTime() noexcept override { return steady; }

    void begin() override {
        if (commandFailure) {
            throw *commandFailure;
        }
        begun = true;
    }

    std::optional<cli::AwakeEnding> waitUntil(double deadline) override {
        // A loop that stops moving forward would never end the test.
        if (++waits_ > 100'000) {
            throw std::logic_error("the session waits without end");
        }
        if (!events_.empty() && startSteadyTime + events_.begin()->first <= deadline) {
            const auto [seconds, ending] = *events_.begin();
            events_.erase(events_.begin());
            moveTo(startSteadyTime + seconds);
            return ending;
        }
        moveTo(deadline);
        return std::nullopt;
    }

private:
    void moveTo(double steadyTime) {
        if (steadyTime > steady) {
            wall += steadyTime - steady;
            steady = steadyTime;
        }
    }

    std::multimap<double, cli::AwakeEnding> events_;
    int waits_ = 0;
};

}  // namespace tallowbeck::testing
