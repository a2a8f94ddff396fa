#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

// Whether the battery temperature is rising, steady or falling over a recent stretch of the
// history, or that it cannot tell. Used as an enumeration: `TemperatureTrend::rising`.
class TemperatureTrend {
public:
    enum Value : std::uint8_t { rising, steady, falling, unavailable };

    constexpr TemperatureTrend(Value value) noexcept : value_(value) {}
    constexpr operator Value() const noexcept { return value_; }

    // Compares only two end points: the newest sample with a battery value, and the oldest one no
    // more than `window` seconds before it. A change of at least `threshold` °C either way is a
    // rise or a fall. Samples may come in any order.
    static TemperatureTrend evaluate(std::span<const TemperatureSample> samples, double window,
                                     double threshold) noexcept;

    // "rising", "steady", "falling", "unavailable"; only these exact texts give a trend back.
    std::string_view textValue() const noexcept;
    static std::optional<TemperatureTrend> fromText(std::string_view text) noexcept;

private:
    Value value_;
};

}  // namespace tallowbeck

template <>
struct std::hash<tallowbeck::TemperatureTrend> {
    std::size_t operator()(tallowbeck::TemperatureTrend trend) const noexcept {
        return static_cast<std::size_t>(static_cast<tallowbeck::TemperatureTrend::Value>(trend));
    }
};
