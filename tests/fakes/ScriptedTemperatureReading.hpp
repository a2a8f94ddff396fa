#pragma once

#include <map>
#include <optional>
#include <utility>

#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/support/UUID.hpp"
#include "TallowbeckCore/temperature/TemperatureReading.hpp"
#include "tests/fakes/VirtualSessionTime.hpp"

namespace tallowbeck::testing {

// Samples whose thermal state and battery temperature follow a script in a session's virtual
// time: each entry holds from its time (seconds after the start) until the next one's. Before
// the first entry the machine is nominal at 30 °C.
class ScriptedTemperatureReading final : public TemperatureReading {
public:
    struct Conditions {
        SystemThermalState thermalState = SystemThermalState::nominal;
        std::optional<double> batteryCelsius = 30.0;
    };

    explicit ScriptedTemperatureReading(const VirtualSessionTime& time) : time_(time) {}

    void from(double seconds, Conditions conditions) { script_[seconds] = conditions; }

    int samplesTaken = 0;

    TemperatureSample readSample(bool sessionActive) override {
        ++samplesTaken;
        const Conditions now = current();
        return TemperatureSample(UUID::random(), time_.wall, now.batteryCelsius, std::nullopt,
                                 std::nullopt, now.thermalState, sessionActive, false);
    }

private:
    Conditions current() const {
        const auto next = script_.upper_bound(time_.elapsed());
        return next == script_.begin() ? Conditions{} : std::prev(next)->second;
    }

    const VirtualSessionTime& time_;
    std::map<double, Conditions> script_;
};

}  // namespace tallowbeck::testing
