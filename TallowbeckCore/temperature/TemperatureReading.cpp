#include "TallowbeckCore/temperature/TemperatureReading.hpp"

#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck {

ChipTemperatureReading TemperatureReading::readChipTemperatures() {
    return {.recordedAt = WallClock::now(), .cpuCelsius = std::nullopt, .gpuCelsius = std::nullopt};
}

}  // namespace tallowbeck
