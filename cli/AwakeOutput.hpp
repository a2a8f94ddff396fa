#pragma once

#include <optional>
#include <string_view>

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/session/Session.hpp"
#include "cli/AwakeEnding.hpp"

namespace tallowbeck::cli {

// What one update of a running session found.
struct AwakeUpdate {
    TemperatureSample sample;
    std::optional<double> remainingTime;   // seconds; nothing for a session without an end
    std::optional<double> graceRemaining;  // seconds; nothing unless a grace period runs
};

// Where a keep-awake session tells what happens.
class AwakeOutput {
public:
    virtual ~AwakeOutput() = default;

    // `displayNotKeptOn`: why the session keeps only the system awake although it does not let
    // the display sleep (there is no display to keep on); empty when it keeps the display on.
    virtual void started(const Session& session, std::string_view displayNotKeptOn) = 0;
    virtual void updated(const AwakeUpdate& update) = 0;
    virtual void ended(const AwakeEnding& ending) = 0;
    // A problem the user should hear of, in one sentence.
    virtual void problem(std::string_view message) = 0;
};

}  // namespace tallowbeck::cli
