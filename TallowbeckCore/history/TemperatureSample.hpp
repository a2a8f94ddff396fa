#pragma once

#include <cmath>
#include <optional>
#include <string>
#include <string_view>

#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {

class JSONObject;
class JSONWriter;
class OnDemandJSONObject;

// One record of the temperature history: the readings taken at one moment and the machine's
// situation then. Immutable once built.
class TemperatureSample {
public:
    // A temperature that is not a finite number (NaN, an infinity) is absent: no reading gives
    // one, and JSON could not carry it. Normalised here, where every sample is made, so that a
    // sample reads the same in memory as it does back from the history's files.
    TemperatureSample(UUID id, double recordedAt, std::optional<double> batteryCelsius,
                      std::optional<double> cpuCelsius, std::optional<double> gpuCelsius,
                      SystemThermalState thermalState, bool sessionActive, bool lidClosed) noexcept
        : id_(id),
          recordedAt_(recordedAt),
          batteryCelsius_(finiteOrAbsent(batteryCelsius)),
          cpuCelsius_(finiteOrAbsent(cpuCelsius)),
          gpuCelsius_(finiteOrAbsent(gpuCelsius)),
          thermalState_(thermalState),
          sessionActive_(sessionActive),
          lidClosed_(lidClosed) {}

    const UUID& id() const noexcept { return id_; }
    // Seconds since 1970-01-01 UTC.
    double recordedAt() const noexcept { return recordedAt_; }
    std::optional<double> batteryCelsius() const noexcept { return batteryCelsius_; }
    std::optional<double> cpuCelsius() const noexcept { return cpuCelsius_; }
    std::optional<double> gpuCelsius() const noexcept { return gpuCelsius_; }
    SystemThermalState thermalState() const noexcept { return thermalState_; }
    bool sessionActive() const noexcept { return sessionActive_; }
    bool lidClosed() const noexcept { return lidClosed_; }

    // The history's JSON form: absent temperatures have no key; "recordedAt" is an ISO 8601
    // date-time in whole seconds, so a fraction of a second does not survive a round trip.
    // Throws std::out_of_range when `recordedAt` cannot be written as such a date-time.
    std::string json() const;
    void writeJSON(JSONWriter& json) const;
    // The sample as its JSON form reads back: recorded at the whole second.
    TemperatureSample asWritten() const noexcept;

    // Throws DecodingError. A missing or null "lidClosed" reads as false; unknown keys are ignored.
    static TemperatureSample fromJSON(std::string_view text);
    static TemperatureSample fromJSON(const JSONObject& object);
    static TemperatureSample fromJSON(const OnDemandJSONObject& object);

    friend bool operator==(const TemperatureSample&, const TemperatureSample&) = default;

private:
    static std::optional<double> finiteOrAbsent(std::optional<double> celsius) noexcept {
        return celsius && std::isfinite(*celsius) ? celsius : std::nullopt;
    }

    UUID id_;
    double recordedAt_;
    std::optional<double> batteryCelsius_;
    std::optional<double> cpuCelsius_;
    std::optional<double> gpuCelsius_;
    SystemThermalState thermalState_;
    bool sessionActive_;
    bool lidClosed_;
};

}  // namespace tallowbeck
