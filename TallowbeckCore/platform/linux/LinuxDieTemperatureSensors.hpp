#pragma once

#include <filesystem>

#include "TallowbeckCore/platform/DieTemperatureSensors.hpp"

namespace tallowbeck {

// Die temperatures from the kernel's hardware monitors below a root path,
// <root>/sys/class/hwmon/hwmon*/: each monitor's driver in "name", its temperature sensors in
// temp<N>_input (millidegrees Celsius) with their labels in temp<N>_label.
//
// CPU, from the processor's own monitor:
//   "coretemp" (Intel): every sensor labelled "Package id <P>", one per processor package; the
//     "Core <C>" sensors are covered by their package's.
//   "k10temp" (AMD): the sensor labelled "Tdie", the die's own temperature; where there is none,
//     "Tctl", which on these processors is the die's temperature (older ones add an offset to
//     Tctl for their fan control and report Tdie beside it).
// GPU, from the graphics drivers "amdgpu", "nouveau" and "i915": the sensor labelled "edge", the
//   die's edge ("junction" and "mem" are hot spots and the memory, not the die); a monitor whose
//   temperature sensors carry no labels at all (nouveau) has only the die's, which is taken.
// Every other monitor (ACPI zones, drives, network cards, batteries) is passed over, as is a
// sensor whose input cannot be read or is not an integer. The values are passed on as read, so
// several packages, processors or graphics cards give several values. Linux always has these
// monitors as its source, so an empty list means no such sensor, never "ask elsewhere".
class LinuxDieTemperatureSensors final : public DieTemperatureSensors {
public:
    explicit LinuxDieTemperatureSensors(const std::filesystem::path& root = "/");

    std::optional<Readings> read() noexcept override;

private:
    std::filesystem::path hwmonFolder_;
};

}  // namespace tallowbeck
