#pragma once

#include <string>
#include <string_view>

namespace tallowbeck {

class JSONObject;
class JSONWriter;

// The die temperatures above which the user wants the fans held at maximum. Neither building nor
// decoding checks the range: that is up to whoever uses the thresholds, through `isValid`.
struct FanBoostConfiguration {
    static constexpr double lowestThresholdCelsius = 65.0;
    static constexpr double highestThresholdCelsius = 95.0;

    double cpuThresholdCelsius = 0.0;
    double gpuThresholdCelsius = 0.0;

    // Both thresholds finite and from 65 to 95 °C, both ends included.
    bool isValid() const noexcept;

    // {"cpuThresholdCelsius":…,"gpuThresholdCelsius":…}; a threshold that is not finite is the
    // string "NaN", "Infinity" or "-Infinity", so that it reaches whoever checks it.
    std::string json() const;
    void writeJSON(JSONWriter& json) const;
    // The two members alone, into an object begun by the caller.
    void writeMembers(JSONWriter& json) const;
    // Throws DecodingError; both keys are required numbers or one of those three strings.
    static FanBoostConfiguration fromJSON(std::string_view text);
    static FanBoostConfiguration fromJSON(const JSONObject& object);

    // Numeric equality, so a NaN threshold makes two configurations unequal.
    friend bool operator==(const FanBoostConfiguration&, const FanBoostConfiguration&) = default;
};

}  // namespace tallowbeck
