#include "cli/MetricsCollector.hpp"

#include <prometheus/metric_family.h>

#include <exception>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "cli/SampleCommand.hpp"

namespace tallowbeck::cli {
MetricsCollector::MetricsCollector(std::optional<std::filesystem::path> history, FileCalls& calls)
    : history_(std::move(history)), calls_(calls) {
    reader_.read();
}

MetricsExposition::Readings MetricsCollector::read() const {
    const std::lock_guard guard(lock_);
    MacTemperatureSensor sensor;
    return {.status = {reader_.read(), SampleCommand::takeSample(sensor, false)},
            .sessionActive = latestSessionActive(),
            .fans = readableFans()};
}

std::vector<prometheus::MetricFamily> MetricsCollector::Collect() const {
    return MetricsExposition::families(read());
}

// Most machines this runs on have no fans it can read: they are left out, not an error. A
// machine does not become a supported one while it runs, so it is asked only once.
std::vector<FanSpeed> MetricsCollector::readableFans() const {
    if (fansUnsupported_) {
        return {};
    }
    try {
        FanBoostHardware hardware;
        return hardware.readFans();
    } catch (const FanBoostHardwareError& error) {
        fansUnsupported_ = error.kind() == FanBoostHardwareError::Kind::unsupported;
        return {};
    }
}

// A history that cannot be read says nothing about a session: the figure is left out.
std::optional<bool> MetricsCollector::latestSessionActive() const {
    try {
        TemperatureHistoryStore store(history_, calls_);
        const HistorySamples samples = store.samples();
        return samples.empty() ? std::nullopt : std::optional(samples.back().sessionActive());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace tallowbeck::cli
