#pragma once

#include <optional>

#include "TallowbeckCore/platform/DieTemperatureSensors.hpp"

namespace tallowbeck::testing {

// Reports the readings a test put in `readings`: by default none, as on a system whose dies are
// read from the system management controller.
class FakeDieTemperatureSensors final : public DieTemperatureSensors {
public:
    std::optional<Readings> readings;
    int queries = 0;

    std::optional<Readings> read() noexcept override {
        ++queries;
        return readings;
    }
};

}  // namespace tallowbeck::testing
