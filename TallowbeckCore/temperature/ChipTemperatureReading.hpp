#pragma once

#include <optional>

namespace tallowbeck {

// The hottest CPU and GPU die temperatures found in one reading.
struct ChipTemperatureReading {
    double recordedAt = 0.0;  // seconds since 1970-01-01 UTC, when the reading was completed
    std::optional<double> cpuCelsius;
    std::optional<double> gpuCelsius;

    // The larger of the present, finite values (the CPU's on a tie); nothing when neither is.
    std::optional<double> hottestCelsius() const noexcept;
    // True when the hottest value is strictly above 100 °C.
    bool isAboveCriticalLimit() const noexcept;

    friend bool operator==(const ChipTemperatureReading&, const ChipTemperatureReading&) = default;
};

}  // namespace tallowbeck
