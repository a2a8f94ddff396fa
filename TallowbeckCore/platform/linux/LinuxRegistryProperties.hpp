#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "TallowbeckCore/platform/RegistryProperties.hpp"

namespace tallowbeck {

// The registry properties the core library asks for, from the kernel's files below a root path.
// A service is found when the device standing for it is there; a key of a found service that
// has no counterpart here is a missing property, as on a machine whose service lacks it.
//
// "AppleSmartBattery": the first folder, by name, of <root>/sys/class/power_supply whose "type"
// is "Battery" and whose "scope" is not "Device" (the battery of a mouse or a game pad is not the
// notebook's); none is a missing service, as on a desktop.
//   "Temperature": its "temp" attribute, in tenths of a degree Celsius, given as a number in the
//   registry's unit. No readable "temp" is a missing property (the driver has no sensor, or
//   cannot measure right now); text that is not an integer is handed over as text.
//
// "IOPMrootDomain": the first ACPI lid button, by name, in <root>/proc/acpi/button/lid.
//   "AppleClamshellState": the button's "state" file, "state:      open" giving false and
//   "closed" giving true, a boolean as the registry publishes it. No readable file is a missing
//   property; any other state line is handed over as text.
// Machines without an ACPI lid (Apple silicon, many ARM notebooks) ask logind instead: its
// Manager's LidClosed property on the system bus, a boolean. With neither, as on a desktop or in a
// container, the service is missing. (logind says false on a machine that has no lid at all.)
//
// Every other service is missing.
class LinuxRegistryProperties final : public RegistryProperties {
public:
    explicit LinuxRegistryProperties(const std::filesystem::path& root = "/");

    RegistryValue property(std::string_view serviceClass, std::string_view key) noexcept override;

private:
    RegistryValue batteryProperty(std::string_view key) const noexcept;
    RegistryValue rootDomainProperty(std::string_view key) const noexcept;
    static RegistryValue logindRootDomainProperty(std::string_view key) noexcept;
    std::optional<std::filesystem::path> systemBattery() const noexcept;

    std::filesystem::path powerSupplyFolder_;
    std::filesystem::path lidFolder_;
};

}  // namespace tallowbeck
