#include "TallowbeckCore/platform/ProcessThermalState.hpp"

namespace tallowbeck {

ProcessThermalState::Level ProcessThermalState::levelReported(std::int64_t reported) noexcept {
    switch (reported) {
        case 1:
            return Level::fair;
        case 2:
            return Level::serious;
        case 3:
            return Level::critical;
        default:
            return Level::nominal;
    }
}

}  // namespace tallowbeck
