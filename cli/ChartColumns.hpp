#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "TallowbeckCore/history/SystemThermalState.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck::cli {

// The samples of a stretch of time reduced to a fixed number of columns of equal length, as a
// chart draws them: however many samples fall into a column, it keeps their lowest and highest
// reading, so a spike of one sample survives any reduction, and the work of drawing depends on
// the columns alone.
//
// A gap is where two samples next to each other in time lie more than `gapFactor` times the
// median interval between neighbours apart (recording stopped, the machine slept): no line
// joins across it, and the thermal state, session and lid of the sample before it end there.
// Otherwise a sample's state holds until the next sample. A sample without a reading breaks
// that reading's line too: absent is not zero.
class ChartColumns {
public:
    enum class Series : std::size_t { battery, cpu, gpu };
    static constexpr std::size_t seriesCount = 3;
    static constexpr double gapFactor = 3.0;

    // One series' readings within one column, in °C.
    struct Readings {
        double minimum;
        double maximum;
        double first;
        double last;
        // The line runs on to here from the last reading of the previous column that has one.
        bool joinsPrevious;
    };

    struct Column {
        std::array<std::optional<Readings>, seriesCount> series;
        // The worst state while samples cover the column; nothing where none does.
        std::optional<SystemThermalState> thermalState;
        bool sessionActive = false;
        bool lidClosed = false;
    };

    // `count` columns (at least one) from `start` to `end` (seconds since 1970, `end` after
    // `start`); samples outside that stretch are left out. The samples need not be in order.
    ChartColumns(std::span<const TemperatureSample> samples, double start, double end,
                 std::size_t count);

    const std::vector<Column>& columns() const noexcept { return columns_; }
    // The lowest and highest reading of any series; nothing when there is none.
    std::optional<std::pair<double, double>> celsiusRange() const noexcept { return range_; }

    static std::optional<double> reading(const TemperatureSample& sample, Series series) noexcept;

private:
    std::size_t columnOf(double time) const noexcept;
    void addReadings(const TemperatureSample& sample, std::size_t column,
                     const TemperatureSample* joinedTo);
    void addState(const TemperatureSample& sample, std::size_t first, std::size_t last);

    double start_;
    double secondsPerColumn_;
    std::vector<Column> columns_;
    std::optional<std::pair<double, double>> range_;
};

}  // namespace tallowbeck::cli
