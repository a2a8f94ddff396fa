#pragma once

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {

// Where the rest of the system takes its temperature measurements from.
class TemperatureReading {
public:
    virtual ~TemperatureReading() = default;

    virtual TemperatureSample readSample(bool sessionActive) = 0;
    // A source without a chip sensor gives a reading taken now with both values absent.
    virtual ChipTemperatureReading readChipTemperatures();
};

}  // namespace tallowbeck
