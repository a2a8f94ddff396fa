#include "cli/ChartColumns.hpp"

#include <algorithm>
#include <cmath>

namespace tallowbeck::cli {
namespace {

using SampleList = std::vector<const TemperatureSample*>;

SampleList inTimeOrder(std::span<const TemperatureSample> samples, double start, double end) {
    SampleList chosen;
    for (const TemperatureSample& sample : samples) {
        if (sample.recordedAt() >= start && sample.recordedAt() <= end) {
            chosen.push_back(&sample);
        }
    }
    std::stable_sort(chosen.begin(), chosen.end(), [](const auto* left, const auto* right) {
        return left->recordedAt() < right->recordedAt();
    });
    return chosen;
}

// Longest distance between neighbours that still counts as one run; below two samples, none.
std::optional<double> longestJoin(const SampleList& samples) {
    if (samples.size() < 2) {
        return std::nullopt;
    }
    std::vector<double> intervals;
    intervals.reserve(samples.size() - 1);
    for (std::size_t index = 1; index < samples.size(); ++index) {
        intervals.push_back(samples[index]->recordedAt() - samples[index - 1]->recordedAt());
    }
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    return ChartColumns::gapFactor * *middle;
}

}  // namespace

ChartColumns::ChartColumns(std::span<const TemperatureSample> samples, double start, double end,
                           std::size_t count)
    : start_(start),
      secondsPerColumn_((end - start) / static_cast<double>(std::max<std::size_t>(count, 1))),
      columns_(std::max<std::size_t>(count, 1)) {
    const SampleList ordered = inTimeOrder(samples, start, end);
    const std::optional<double> join = longestJoin(ordered);
    for (std::size_t index = 0; index < ordered.size(); ++index) {
        const TemperatureSample& sample = *ordered[index];
        const std::size_t column = columnOf(sample.recordedAt());
        const bool joinedBefore =
            index > 0 && join && sample.recordedAt() - ordered[index - 1]->recordedAt() <= *join;
        const bool joinedAfter = index + 1 < ordered.size() && join &&
                                 ordered[index + 1]->recordedAt() - sample.recordedAt() <= *join;
        // A reading's line runs on only from a neighbour that has that reading too.
        addReadings(sample, column, joinedBefore ? ordered[index - 1] : nullptr);
        // The state holds up to the next sample's column, which that sample marks itself.
        const std::size_t nextColumn =
            joinedAfter ? columnOf(ordered[index + 1]->recordedAt()) : column;
        const std::size_t last = nextColumn > column ? nextColumn - 1 : column;
        addState(sample, column, last);
    }
}

std::optional<double> ChartColumns::reading(const TemperatureSample& sample,
                                            Series series) noexcept {
    switch (series) {
        case Series::battery:
            return sample.batteryCelsius();
        case Series::cpu:
            return sample.cpuCelsius();
        case Series::gpu:
            return sample.gpuCelsius();
    }
    return std::nullopt;
}

std::size_t ChartColumns::columnOf(double time) const noexcept {
    const double position = std::floor((time - start_) / secondsPerColumn_);
    if (!(position > 0)) {
        return 0;
    }
    return std::min(static_cast<std::size_t>(position), columns_.size() - 1);
}

void ChartColumns::addReadings(const TemperatureSample& sample, std::size_t column,
                               const TemperatureSample* joinedTo) {
    for (std::size_t index = 0; index < seriesCount; ++index) {
        const std::optional<double> celsius = reading(sample, static_cast<Series>(index));
        if (!celsius) {
            continue;
        }
        const bool joined = joinedTo != nullptr && reading(*joinedTo, static_cast<Series>(index));
        std::optional<Readings>& readings = columns_[column].series[index];
        if (readings) {
            readings->minimum = std::min(readings->minimum, *celsius);
            readings->maximum = std::max(readings->maximum, *celsius);
            readings->last = *celsius;
        } else {
            readings = Readings{*celsius, *celsius, *celsius, *celsius, joined};
        }
        range_ = range_ ? std::pair{std::min(range_->first, *celsius),
                                    std::max(range_->second, *celsius)}
                        : std::pair{*celsius, *celsius};
    }
}

void ChartColumns::addState(const TemperatureSample& sample, std::size_t first, std::size_t last) {
    for (std::size_t index = first; index <= last; ++index) {
        Column& column = columns_[index];
        column.thermalState = column.thermalState
                                  ? std::max(*column.thermalState, sample.thermalState())
                                  : sample.thermalState();
        column.sessionActive = column.sessionActive || sample.sessionActive();
        column.lidClosed = column.lidClosed || sample.lidClosed();
    }
}

}  // namespace tallowbeck::cli
