#pragma once

#include <functional>
#include <optional>

namespace tallowbeck::testing {

// A wall clock that moves only when a test moves it, if need be right after its next reading,
// as a clock stepped by the system between two readings of one operation would.
class VirtualWallClock {
public:
    explicit VirtualWallClock(double start) noexcept : now_(start) {}

    double now() noexcept {
        const double reading = now_;
        if (jumpAfterNextReading_) {
            now_ += *jumpAfterNextReading_;
            jumpAfterNextReading_.reset();
        }
        return reading;
    }

    void set(double secondsSince1970) noexcept { now_ = secondsSince1970; }
    void advance(double seconds) noexcept { now_ += seconds; }
    void jumpAfterNextReading(double seconds) noexcept { jumpAfterNextReading_ = seconds; }

    // Reads this clock, which must outlive the function.
    std::function<double()> function() {
        return [this] { return now(); };
    }

private:
    double now_;
    std::optional<double> jumpAfterNextReading_;
};

}  // namespace tallowbeck::testing
