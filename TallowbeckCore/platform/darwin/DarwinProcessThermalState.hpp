#pragma once

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck {

// The process's thermal state from Foundation, whose cases count from nominal (0) to critical
// (3) in the same order.
class DarwinProcessThermalState final : public ProcessThermalState {
public:
    std::int64_t level() noexcept override;
};

}  // namespace tallowbeck
