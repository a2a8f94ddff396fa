#pragma once

namespace tallowbeck {

struct LunarPhaseState {
    // From 0 inclusive to 1 exclusive: 0 new moon, 0.25 first quarter, 0.5 full moon, 0.75 last
    // quarter.
    double phaseFraction = 0.0;
    double illumination = 0.0;  // the lit fraction of the disc, 0 to 1

    friend bool operator==(const LunarPhaseState&, const LunarPhaseState&) = default;
};

}  // namespace tallowbeck
