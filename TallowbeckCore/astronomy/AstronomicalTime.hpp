#pragma once

#include <cmath>

// The time base and angle conventions that the Moon and planet models share.
namespace tallowbeck::AstronomicalTime {

// π/180: degrees are turned into radians by multiplying by it and back by dividing by it.
constexpr double radiansPerDegree = 0.017453292519943295;
constexpr double fullTurnRadians = 2.0 * 3.141592653589793;
constexpr double secondsPerDay = 86400.0;

// Days since J2000.0 (the Julian day minus 2451545) of a time in seconds since 1970 UTC.
inline double daysSinceJ2000(double secondsSince1970) noexcept {
    return secondsSince1970 / secondsPerDay + 2440587.5 - 2451545.0;
}

// The remainder of `angle` after whole turns of `turn`, made non-negative by one more turn.
inline double reducedAngle(double angle, double turn) noexcept {
    const double remainder = std::fmod(angle, turn);
    return remainder < 0 ? remainder + turn : remainder;
}

inline double reducedDegrees(double degrees) noexcept { return reducedAngle(degrees, 360.0); }

inline double reducedRadians(double radians) noexcept {
    return reducedAngle(radians, fullTurnRadians);
}

}  // namespace tallowbeck::AstronomicalTime
