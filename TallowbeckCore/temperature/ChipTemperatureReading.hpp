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

    static constexpr double lowestPlausibleCelsius = 1.0;
    static constexpr double highestPlausibleCelsius = 125.0;

    // A die sensor's value when it lies within 1 to 125 °C (both included), the range in which
    // it is believed; nothing otherwise, NaN and the infinities included (NaN fails both
    // comparisons). Inline, since every fan boost tick reads every die key.
    static constexpr std::optional<double> plausibleCelsius(double celsius) noexcept {
        return celsius >= lowestPlausibleCelsius && celsius <= highestPlausibleCelsius
                   ? std::optional<double>(celsius)
                   : std::nullopt;
    }
    // Of the hottest value so far and a candidate, the candidate only when it is present and
    // strictly hotter, so that on a tie the earlier value stays.
    static std::optional<double> hotter(std::optional<double> hottest,
                                        std::optional<double> candidate) noexcept {
        return candidate && (!hottest || *candidate > *hottest) ? candidate : hottest;
    }

    friend bool operator==(const ChipTemperatureReading&, const ChipTemperatureReading&) = default;
};

}  // namespace tallowbeck
