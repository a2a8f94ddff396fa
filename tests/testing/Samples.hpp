#pragma once

#include <optional>
#include <span>
#include <vector>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck::testing {

// A sample with a new random id, recorded at `recordedAt` (seconds since 1970, whole seconds so
// that it survives the files unchanged).
TemperatureSample sampleAt(double recordedAt, std::optional<double> batteryCelsius = 31.5);

// The samples as a list of their own, to compare with another.
std::vector<TemperatureSample> listOf(std::span<const TemperatureSample> samples);

// The same readings under another time.
TemperatureSample recordedAgain(const TemperatureSample& sample, double recordedAt);

}  // namespace tallowbeck::testing
