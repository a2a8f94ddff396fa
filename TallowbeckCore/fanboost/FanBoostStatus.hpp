#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TallowbeckCore/fanboost/FanSpeed.hpp"

namespace tallowbeck {

class JSONObject;
class JSONWriter;

// What the fan boost session publishes after every operation. It has no equality on purpose:
// two statuses are only ever compared field by field.
struct FanBoostStatus {
    bool enabled = false;              // a client owns an active fan boost
    bool boosting = false;             // the fans are, or may still be, held at maximum
    bool restorationPending = false;   // automatic control still has to be re-established
    std::vector<FanSpeed> fans;        // the latest readings in fan order, possibly none
    std::optional<std::string> error;  // the user-facing message of the last problem

    // {"enabled":…,"boosting":…,"restorationPending":…,"fans":[…],"error":…}; "error" only when
    // there is one.
    std::string json() const;
    void writeJSON(JSONWriter& json) const;
    // Throws DecodingError; every key but "error" is required.
    static FanBoostStatus fromJSON(std::string_view text);
    static FanBoostStatus fromJSON(const JSONObject& object);
};

}  // namespace tallowbeck
