#pragma once

namespace tallowbeck {

// A place relative to the Sun in astronomical units, in the J2000 ecliptic frame: x towards the
// J2000 equinox, z towards the north ecliptic pole.
struct HeliocentricPosition {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    friend bool operator==(const HeliocentricPosition&, const HeliocentricPosition&) = default;
};

}  // namespace tallowbeck
