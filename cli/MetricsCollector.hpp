#pragma once

#include <prometheus/collectable.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <vector>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"
#include "cli/MetricsExposition.hpp"

namespace tallowbeck::cli {

// Reads this machine's figures afresh for every collection, so that each scrape sees the
// present. The CPU usage of a reading covers the time since the previous one (or since the
// collector was made). Any thread may collect.
class MetricsCollector final : public prometheus::Collectable {
public:
    // `history`: the history's snapshot file, or nothing for the default.
    MetricsCollector(std::optional<std::filesystem::path> history, FileCalls& calls);

    MetricsExposition::Readings read() const;
    std::vector<prometheus::MetricFamily> Collect() const override;

private:
    std::optional<bool> latestSessionActive() const;
    std::vector<FanSpeed> readableFans() const;

    std::optional<std::filesystem::path> history_;
    FileCalls& calls_;
    mutable std::mutex lock_;
    mutable SystemMetricsReader reader_;
    mutable bool fansUnsupported_ = false;
};

}  // namespace tallowbeck::cli
