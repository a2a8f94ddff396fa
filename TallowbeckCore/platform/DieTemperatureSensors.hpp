#pragma once

#include <optional>
#include <vector>

namespace tallowbeck {

// CPU and GPU die temperatures that the operating system reports through sensors of its own.
class DieTemperatureSensors {
public:
    // What the sensors standing for each die show, in degrees Celsius, as they show it: the
    // caller judges which values to believe.
    struct Readings {
        std::vector<double> cpuCelsius;
        std::vector<double> gpuCelsius;
    };

    virtual ~DieTemperatureSensors() = default;

    // Nothing where the system has no such sensors of its own and the dies are read from the
    // system management controller instead (macOS).
    virtual std::optional<Readings> read() noexcept = 0;

    static DieTemperatureSensors& system();
};

}  // namespace tallowbeck
