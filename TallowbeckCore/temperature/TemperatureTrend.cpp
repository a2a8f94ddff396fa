#include "TallowbeckCore/temperature/TemperatureTrend.hpp"

#include <array>

namespace tallowbeck {

namespace {

struct Point {
    double time;
    double celsius;
};

// The latest sample with a battery value; on equal times the later one in the list.
std::optional<Point> latestPoint(std::span<const TemperatureSample> samples) noexcept {
    std::optional<Point> latest;
    for (const TemperatureSample& sample : samples) {
        if (sample.batteryCelsius() && (!latest || sample.recordedAt() >= latest->time)) {
            latest = Point{sample.recordedAt(), *sample.batteryCelsius()};
        }
    }
    return latest;
}

// The earliest sample with a battery value at or after `cutoff`; on equal times the first one.
std::optional<Point> earliestPoint(std::span<const TemperatureSample> samples,
                                   double cutoff) noexcept {
    std::optional<Point> earliest;
    for (const TemperatureSample& sample : samples) {
        if (sample.batteryCelsius() && sample.recordedAt() >= cutoff &&
            (!earliest || sample.recordedAt() < earliest->time)) {
            earliest = Point{sample.recordedAt(), *sample.batteryCelsius()};
        }
    }
    return earliest;
}

constexpr std::array<std::string_view, 4> texts{"rising", "steady", "falling", "unavailable"};

}  // namespace

TemperatureTrend TemperatureTrend::evaluate(std::span<const TemperatureSample> samples,
                                            double window, double threshold) noexcept {
    const std::optional<Point> latest = latestPoint(samples);
    if (!latest) {
        return unavailable;
    }
    const std::optional<Point> earliest = earliestPoint(samples, latest->time - window);
    if (!earliest || !(earliest->time < latest->time)) {
        return unavailable;
    }
    const double change = latest->celsius - earliest->celsius;
    if (change >= threshold) {
        return rising;
    }
    if (change <= -threshold) {
        return falling;
    }
    return steady;
}

std::string_view TemperatureTrend::textValue() const noexcept { return texts[value_]; }

std::optional<TemperatureTrend> TemperatureTrend::fromText(std::string_view text) noexcept {
    for (std::size_t index = 0; index < texts.size(); ++index) {
        if (texts[index] == text) {
            return TemperatureTrend(static_cast<Value>(index));
        }
    }
    return std::nullopt;
}

}  // namespace tallowbeck
