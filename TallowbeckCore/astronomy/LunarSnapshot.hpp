#pragma once

#include <optional>

#include "TallowbeckCore/astronomy/LunarHorizonEvent.hpp"
#include "TallowbeckCore/astronomy/LunarPhase.hpp"

namespace tallowbeck {

// The Moon as seen by one observer at one moment. Angles are in degrees, dates in seconds since
// 1970-01-01 UTC.
struct LunarSnapshot {
    LunarPhase phase = LunarPhase::newMoon;
    double phaseFraction = 0.0;
    double illumination = 0.0;
    double ageDays = 0.0;  // days since the last new moon at the mean synodic rate
    double distanceKilometers = 0.0;
    // Geocentric (no parallax correction), with refraction.
    double altitudeDegrees = 0.0;
    double azimuthDegrees = 0.0;       // 0 to 360, from north through east
    double rightAscensionHours = 0.0;  // 0 to 24
    double declinationDegrees = 0.0;
    double eclipticLongitudeDegrees = 0.0;  // 0 to 360
    double eclipticLatitudeDegrees = 0.0;
    // The first rise or set within 72 hours.
    std::optional<LunarHorizonEvent> nextHorizonEvent;
    double nextNewMoon = 0.0;
    double nextFullMoon = 0.0;

    friend bool operator==(const LunarSnapshot&, const LunarSnapshot&) = default;
};

}  // namespace tallowbeck
