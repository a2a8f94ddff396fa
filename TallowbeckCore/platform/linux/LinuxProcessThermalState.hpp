#pragma once

#include <filesystem>

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck {

// The thermal state from the thermal zones below a root path, <root>/sys/class/thermal/
// thermal_zone*/: each zone's "temp" (millidegrees Celsius) against its trip points
// trip_point_<N>_temp and trip_point_<N>_type, N counting from 0. A zone reaching a trip point
// means what the kernel does there, which is also what the levels stand for:
//   critical: at or above a "critical" or "hot" trip, where the kernel shuts down or suspends;
//   serious:  at or above a "passive" trip, where the kernel throttles the processor;
//   fair:     at or above an "active" trip, where fans are switched on;
//   nominal:  below every trip, and when nothing can be read.
// The level is the highest over all zones. Trip temperatures of 0 or below (disabled trips),
// trips of any other type and zones whose temperature cannot be read are passed over.
class LinuxProcessThermalState final : public ProcessThermalState {
public:
    explicit LinuxProcessThermalState(const std::filesystem::path& root = "/");

    Level level() noexcept override;

private:
    std::filesystem::path thermalFolder_;
};

}  // namespace tallowbeck
