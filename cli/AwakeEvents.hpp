#pragma once

#include <optional>

#include "cli/AwakeEnding.hpp"

namespace tallowbeck::cli {

// What a keep-awake session waits for besides time: a stop signal, the end of its command, or the
// end of the process it watches. Each of them ends the session.
class AwakeEvents {
public:
    virtual ~AwakeEvents() = default;

    // Starts the command, if there is one. Throws std::system_error when it cannot be started.
    virtual void begin() = 0;
    // Waits until `deadline` on the session's steady clock, or until one of the events comes
    // first, and tells which. May also return nothing a little early.
    virtual std::optional<AwakeEnding> waitUntil(double deadline) = 0;
};

}  // namespace tallowbeck::cli
