#pragma once

#include <memory>
#include <optional>

#include "TallowbeckCore/metrics/SystemMetrics.hpp"
#include "TallowbeckCore/platform/HostStatistics.hpp"
#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"
#include "TallowbeckCore/platform/VolumeCapacity.hpp"

namespace tallowbeck {

// Samples CPU, memory and start-up volume use on request, and keeps the memory-pressure level
// current from the system's notifications. Any thread may call `read`; each call measures CPU
// use since the previous one, so readers sharing one instance shorten each other's interval.
class SystemMetricsReader {
public:
    // Starts listening to memory-pressure events; the level is normal until the first one.
    explicit SystemMetricsReader(
        HostStatistics& host = HostStatistics::system(),
        VolumeCapacity& volumes = VolumeCapacity::system(),
        MemoryPressureEvents& pressureEvents = MemoryPressureEvents::system());

    // Stops the memory-pressure events, then gives back the host port.
    ~SystemMetricsReader();

    SystemMetricsReader(const SystemMetricsReader&) = delete;
    SystemMetricsReader& operator=(const SystemMetricsReader&) = delete;

    // CPU, then memory, then disk, then the pressure level. A figure that cannot be measured
    // reads as documented on SystemMetrics and MetricsComputation; the rest of the sample
    // proceeds.
    SystemMetrics read() noexcept;

private:
    // What the event handler shares with the reader. The handler holds it weakly, so an event
    // that arrives after the reader is gone finds nothing to update.
    struct SharedState;

    std::optional<double> sampleCPU() noexcept;
    SystemMemoryPressure currentMemoryPressure() const noexcept;

    HostStatistics& host_;
    // Taken at construction; every host query goes through it.
    const HostStatistics::Port hostPort_;
    VolumeCapacity& volumes_;
    std::shared_ptr<SharedState> state_;
    // Ended first at teardown: no handler runs once the reader is torn down.
    std::unique_ptr<MemoryPressureEvents::Subscription> pressureSubscription_;
};

}  // namespace tallowbeck
