#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostControlling.hpp"
#include "TallowbeckCore/platform/ProcessCredentials.hpp"
#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/platform/SystemValues.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"

namespace tallowbeck {

class SMCFanController;

// The fans of a supported MacBook Pro through the system management controller. Each operation
// opens the controller for itself (after checking the model) and closes it before it returns,
// also when it fails; nothing about the fans is kept between calls. Changing the fans needs the
// superuser, and every change is read back before it counts as done.
class FanBoostHardware final : public FanBoostControlling {
public:
    // The processor brand string is read once, here; the chip temperatures are dated by
    // `wallClock`.
    explicit FanBoostHardware(SMCUserClient& smc = SMCUserClient::system(),
                              SystemValues& values = SystemValues::system(),
                              const ProcessCredentials& credentials = ProcessCredentials::system(),
                              std::function<double()> wallClock = WallClock::now);

    std::vector<FanSpeed> readFans() override;
    ChipTemperatureReading readChips() noexcept override;
    // Each fan's target is written before and after it is forced, then both are read back.
    void setMaximum() override;
    // Both fans are tried even when the first fails; then both are read back.
    void restoreAutomatic() override;

    // A value of type "ui8 " with one byte, or "flt " with four bytes holding a finite speed
    // from 0 to 20000; nothing for anything else.
    static std::optional<double> decode(std::uint32_t type,
                                        std::span<const std::uint8_t> bytes) noexcept;

private:
    SMCFanController openController() const;
    void requireSuperuser() const;

    SMCUserClient& smc_;
    SystemValues& values_;
    const ProcessCredentials& credentials_;
    std::function<double()> wallClock_;
    SMCChipTemperatureSensor sensor_;
};

}  // namespace tallowbeck
