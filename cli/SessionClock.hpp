#pragma once

namespace tallowbeck::cli {

// The two clocks of a keep-awake session, in seconds: the wall clock, on which a session starts
// and ends, and a steady clock, which neither jumps nor goes back, for the intervals between
// updates.
class SessionClock {
public:
    virtual ~SessionClock() = default;

    virtual double wallTime() noexcept = 0;  // since 1970-01-01 UTC
    virtual double steadyTime() noexcept = 0;

    static SessionClock& system();
};

}  // namespace tallowbeck::cli
