#pragma once

namespace tallowbeck {

// A direction on the sky in the equatorial frame, in radians.
struct EquatorialCoordinates {
    double rightAscension = 0.0;  // -π to π, as the arc tangent gives it
    double declination = 0.0;

    friend bool operator==(const EquatorialCoordinates&, const EquatorialCoordinates&) = default;
};

}  // namespace tallowbeck
