#include "TallowbeckCore/platform/darwin/DarwinDieTemperatureSensors.hpp"

namespace tallowbeck {

std::optional<DieTemperatureSensors::Readings> DarwinDieTemperatureSensors::read() noexcept {
    return std::nullopt;
}

DieTemperatureSensors& DieTemperatureSensors::system() {
    static DarwinDieTemperatureSensors instance;
    return instance;
}

}  // namespace tallowbeck
