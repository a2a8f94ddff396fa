#pragma once

#include "TallowbeckCore/astronomy/LunarHorizonEventKind.hpp"

namespace tallowbeck {

// A moonrise or moonset.
struct LunarHorizonEvent {
    LunarHorizonEventKind kind = LunarHorizonEventKind::rise;
    double date = 0.0;  // seconds since 1970-01-01 UTC

    friend bool operator==(const LunarHorizonEvent&, const LunarHorizonEvent&) = default;
};

}  // namespace tallowbeck
