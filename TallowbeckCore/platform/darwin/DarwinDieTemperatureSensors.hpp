#pragma once

#include "TallowbeckCore/platform/DieTemperatureSensors.hpp"

namespace tallowbeck {

// macOS reports no die temperatures of its own: they come from the system management controller.
class DarwinDieTemperatureSensors final : public DieTemperatureSensors {
public:
    std::optional<Readings> read() noexcept override;
};

}  // namespace tallowbeck
