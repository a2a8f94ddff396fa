#pragma once

#include <cstdint>

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck::testing {

// Reports the level a test put in `reportedLevel` and counts the queries.
class FakeProcessThermalState final : public ProcessThermalState {
public:
    std::int64_t reportedLevel = 0;
    int queries = 0;

    std::int64_t level() noexcept override {
        ++queries;
        return reportedLevel;
    }
};

}  // namespace tallowbeck::testing
