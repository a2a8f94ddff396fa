#pragma once

#include <cstdint>

namespace tallowbeck {

// The thermal state the operating system reports to the process.
class ProcessThermalState {
public:
    // In rising severity, as the system counts them from 0.
    enum class Level { nominal, fair, serious, critical };

    virtual ~ProcessThermalState() = default;

    virtual Level level() noexcept = 0;

    // The level the system means by `reported`, 0 to 3; a number it should never report counts
    // as nominal.
    static Level levelReported(std::int64_t reported) noexcept;

    static ProcessThermalState& system();
};

}  // namespace tallowbeck
