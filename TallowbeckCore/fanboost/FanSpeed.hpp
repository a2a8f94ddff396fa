#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tallowbeck {

class JSONObject;
class JSONWriter;

// One fan as the fan controller reports it. Speeds are revolutions per minute.
struct FanSpeed {
    std::int64_t id = 0;  // 0 for the first fan
    double actualRPM = 0.0;
    double minimumRPM = 0.0;
    double maximumRPM = 0.0;
    double targetRPM = 0.0;
    bool manual = false;  // forced by a controller instead of the system's automatic control

    // A reading worth acting on: fan 0 or 1; every speed finite and from 0 to 20000; a minimum of
    // at least 500 below a maximum of at most 10000; a target no higher than the maximum and, for
    // a forced fan only, no lower than the minimum. An automatic fan may aim below its minimum
    // (0 while it idles).
    bool isPlausible() const noexcept;
    // Forced, and aiming less than 1 rpm away from the maximum.
    bool holdsMaximum() const noexcept;

    // {"id":…,"actualRPM":…,"minimumRPM":…,"maximumRPM":…,"targetRPM":…,"manual":…}
    std::string json() const;
    void writeJSON(JSONWriter& json) const;
    // Throws DecodingError; every key is required, "id" an integer.
    static FanSpeed fromJSON(std::string_view text);
    static FanSpeed fromJSON(const JSONObject& object);

    // Numeric equality, so a NaN speed makes two fans unequal.
    friend bool operator==(const FanSpeed&, const FanSpeed&) = default;
};

}  // namespace tallowbeck
