#pragma once

#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck::testing {

// Reports the level a test put in `reportedLevel` and counts the queries.
class FakeProcessThermalState final : public ProcessThermalState {
public:
    Level reportedLevel = Level::nominal;
    int queries = 0;

    Level level() noexcept override {
        ++queries;
        return reportedLevel;
    }
};

}  // namespace tallowbeck::testing
