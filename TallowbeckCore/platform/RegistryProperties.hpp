#pragma once

#include <string_view>

#include "TallowbeckCore/platform/RegistryValue.hpp"

namespace tallowbeck {

// Properties of registry services, each looked up on the first service matching a class name.
// The service object is released after every lookup.
class RegistryProperties {
public:
    // The battery's service and its temperature, in hundredths of a degree Celsius.
    static constexpr std::string_view batteryService = "AppleSmartBattery";
    static constexpr std::string_view batteryTemperatureKey = "Temperature";
    static constexpr double batteryTemperatureUnitsPerDegree = 100.0;
    // The power root domain and its lid state, non-zero (or true) while the lid is closed.
    static constexpr std::string_view rootDomainService = "IOPMrootDomain";
    static constexpr std::string_view clamshellStateKey = "AppleClamshellState";

    virtual ~RegistryProperties() = default;

    // The property's type and value as the registry holds them; never a conversion.
    virtual RegistryValue property(std::string_view serviceClass,
                                   std::string_view key) noexcept = 0;

    static RegistryProperties& system();
};

}  // namespace tallowbeck
