#include "TallowbeckCore/platform/darwin/DarwinProcessThermalState.hpp"

#import <Foundation/Foundation.h>

namespace tallowbeck {

std::int64_t DarwinProcessThermalState::level() noexcept {
    return static_cast<std::int64_t>(NSProcessInfo.processInfo.thermalState);
}

ProcessThermalState& ProcessThermalState::system() {
    static DarwinProcessThermalState instance;
    return instance;
}

}  // namespace tallowbeck
