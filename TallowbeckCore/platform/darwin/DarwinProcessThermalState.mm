#include "TallowbeckCore/platform/darwin/DarwinProcessThermalState.hpp"

#import <Foundation/Foundation.h>

namespace tallowbeck {

ProcessThermalState::Level DarwinProcessThermalState::level() noexcept {
    return levelReported(static_cast<std::int64_t>(NSProcessInfo.processInfo.thermalState));
}

ProcessThermalState& ProcessThermalState::system() {
    static DarwinProcessThermalState instance;
    return instance;
}

}  // namespace tallowbeck
