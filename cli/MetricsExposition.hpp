#pragma once

#include <prometheus/metric_family.h>

#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "cli/StatusCommand.hpp"

namespace tallowbeck::cli {

// The status figures as Prometheus metrics: one gauge family per figure, named with the
// "tallowbeck_" prefix and the base unit, and the thermal state and memory pressure as one gauge
// per state, 1 for the state in force. A figure that cannot be measured has no sample.
class MetricsExposition {
public:
    struct Readings {
        StatusCommand::Readings status;
        // From the history's latest sample; nothing without a history.
        std::optional<bool> sessionActive;
        // Empty where the fans cannot be read.
        std::vector<FanSpeed> fans;
    };

    static std::vector<prometheus::MetricFamily> families(const Readings& readings);
    // The families in the text exposition format.
    static std::string text(const std::vector<prometheus::MetricFamily>& families);
};

}  // namespace tallowbeck::cli
