#pragma once

namespace tallowbeck {

// Dates in seconds since 1970-01-01 UTC.
struct HohmannTransferWindow {
    double departureDate = 0.0;
    double arrivalDate = 0.0;

    friend bool operator==(const HohmannTransferWindow&, const HohmannTransferWindow&) = default;
};

}  // namespace tallowbeck
