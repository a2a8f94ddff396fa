#pragma once

#include <cstdint>

namespace tallowbeck {

// The thermal state the operating system reports to the process: 0 nominal, 1 fair, 2 serious,
// 3 critical. Other values are passed on as they come.
class ProcessThermalState {
public:
    virtual ~ProcessThermalState() = default;

    virtual std::int64_t level() noexcept = 0;

    static ProcessThermalState& system();
};

}  // namespace tallowbeck
