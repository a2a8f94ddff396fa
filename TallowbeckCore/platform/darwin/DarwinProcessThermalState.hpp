#pragma once

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck {

// The process's thermal state from Foundation, whose cases count from nominal (0) to critical
// (3) in the order of the levels.
class DarwinProcessThermalState final : public ProcessThermalState {
public:
    Level level() noexcept override;
};

}  // namespace tallowbeck
