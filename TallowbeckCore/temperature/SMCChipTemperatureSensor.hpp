#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/platform/SystemValues.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {

// CPU and GPU die temperatures from the system management controller. The key lists are the M1
// family's, so only those chips are read at all.
struct SMCChipTemperatureSensor {
    static constexpr std::array<std::string_view, 4> supportedChipNames{
        "Apple M1", "Apple M1 Pro", "Apple M1 Max", "Apple M1 Ultra"};
    static constexpr std::array<std::string_view, 10> chipSensorCPUKeys{
        "Tp09", "Tp0T", "Tp01", "Tp05", "Tp0D", "Tp0H", "Tp0L", "Tp0P", "Tp0X", "Tp0b"};
    static constexpr std::array<std::string_view, 4> chipSensorGPUKeys{"Tg05", "Tg0D", "Tg0L",
                                                                       "Tg0T"};

    // Reads the processor brand string once.
    explicit SMCChipTemperatureSensor(SystemValues& values = SystemValues::system());

    // Never fails: whatever cannot be read is absent. Makes no call when `supported` is false.
    // The reading is dated by `wallClock` once it is complete.
    ChipTemperatureReading readTemperatures(
        SMCUserClient& smc = SMCUserClient::system(),
        const std::function<double()>& wallClock = WallClock::now) const noexcept;

    // "machdep.cpu.brand_string", or "" when it cannot be read.
    static std::string readBrandString(SystemValues& values = SystemValues::system()) noexcept;

    bool supported = false;
};

}  // namespace tallowbeck
