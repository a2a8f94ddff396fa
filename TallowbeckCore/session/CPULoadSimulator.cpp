#include "TallowbeckCore/session/CPULoadSimulator.hpp"

#include <algorithm>

#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"

namespace tallowbeck {

bool CPULoadSimulator::isSupportedProcessor(SystemValues& values) noexcept {
    return std::ranges::find(supportedProcessors, SMCChipTemperatureSensor::readBrandString(
                                                      values)) != supportedProcessors.end();
}

}  // namespace tallowbeck
