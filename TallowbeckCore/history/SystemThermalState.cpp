#include "TallowbeckCore/history/SystemThermalState.hpp"

namespace tallowbeck {

std::string_view textValue(SystemThermalState state) noexcept {
    switch (state) {
        case SystemThermalState::fair:
            return "fair";
        case SystemThermalState::serious:
            return "serious";
        case SystemThermalState::critical:
            return "critical";
        case SystemThermalState::nominal:
            break;
    }
    return "nominal";
}

std::optional<SystemThermalState> systemThermalStateFromText(std::string_view text) noexcept {
    for (const SystemThermalState state : allSystemThermalStates()) {
        if (textValue(state) == text) {
            return state;
        }
    }
    return std::nullopt;
}

std::string_view displayName(SystemThermalState state) noexcept {
    switch (state) {
        case SystemThermalState::fair:
            return "Fair";
        case SystemThermalState::serious:
            return "Serious";
        case SystemThermalState::critical:
            return "Critical";
        case SystemThermalState::nominal:
            break;
    }
    return "Nominal";
}

}  // namespace tallowbeck
