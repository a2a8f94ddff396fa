#pragma once

namespace tallowbeck {

// A direction as an observer sees it, in radians.
struct HorizontalCoordinates {
    double altitude = 0.0;  // with refraction
    double azimuth = 0.0;   // measured from south, positive towards west, -π to π

    friend bool operator==(const HorizontalCoordinates&, const HorizontalCoordinates&) = default;
};

}  // namespace tallowbeck
