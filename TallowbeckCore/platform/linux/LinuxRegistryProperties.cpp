#include "TallowbeckCore/platform/linux/LinuxRegistryProperties.hpp"

#include <algorithm>
#include <system_error>
#include <vector>

#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;
using Property = RegistryProperties::Property;
using Kind = Property::Kind;

constexpr std::string_view batteryService = "AppleSmartBattery";
constexpr std::string_view batteryTemperatureKey = "Temperature";
constexpr std::string_view rootDomainService = "IOPMrootDomain";
constexpr std::string_view clamshellStateKey = "AppleClamshellState";

// The kernel reports tenths of a degree, the registry hundredths.
constexpr double hundredthsPerTenth = 10.0;
constexpr std::string_view lidStateLabel = "state:";

Property withKind(Kind kind) noexcept { return {.kind = kind, .number = 0.0}; }

Property withNumber(double number) noexcept { return {.kind = Kind::number, .number = number}; }

// The folders directly inside `folder`, sorted by name so that the first is always the same one.
std::vector<fs::path> sortedSubfolders(const fs::path& folder) noexcept {
    std::vector<fs::path> subfolders;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        // An entry that cannot be examined (a dangling link) is passed over, not the folder.
        std::error_code unexamined;
        if (entry->is_directory(unexamined)) {
            subfolders.push_back(entry->path());
        }
    }
    std::ranges::sort(subfolders);
    return subfolders;
}

std::optional<fs::path> firstSubfolder(const fs::path& folder) noexcept {
    const std::vector<fs::path> subfolders = sortedSubfolders(folder);
    if (subfolders.empty()) {
        return std::nullopt;
    }
    return subfolders.front();
}

// "state:      open" or "state:      closed", as the ACPI button driver writes it.
Property clamshellState(std::string_view stateLine) noexcept {
    if (!stateLine.starts_with(lidStateLabel)) {
        return withKind(Kind::otherKind);
    }
    std::string_view state = stateLine.substr(lidStateLabel.size());
    state.remove_prefix(std::min(state.find_first_not_of(' '), state.size()));
    if (state == "open") {
        return withNumber(0.0);
    }
    if (state == "closed") {
        return withNumber(1.0);
    }
    return withKind(Kind::otherKind);
}

}  // namespace

LinuxRegistryProperties::LinuxRegistryProperties(const fs::path& root)
    : powerSupplyFolder_(root / "sys/class/power_supply"),
      lidFolder_(root / "proc/acpi/button/lid") {}

RegistryProperties::Property LinuxRegistryProperties::property(std::string_view serviceClass,
                                                               std::string_view key) noexcept {
    if (serviceClass == batteryService) {
        return batteryProperty(key);
    }
    if (serviceClass == rootDomainService) {
        return rootDomainProperty(key);
    }
    return withKind(Kind::serviceMissing);
}

RegistryProperties::Property LinuxRegistryProperties::batteryProperty(
    std::string_view key) const noexcept {
    const std::optional<fs::path> battery = systemBattery();
    if (!battery) {
        return withKind(Kind::serviceMissing);
    }
    const std::optional<std::string> temperature =
        key == batteryTemperatureKey ? KernelFile::readAttribute(*battery / "temp") : std::nullopt;
    if (!temperature) {
        return withKind(Kind::propertyMissing);
    }
    const std::optional<std::int64_t> tenths = KernelFile::wholeNumber<std::int64_t>(*temperature);
    if (!tenths) {
        return withKind(Kind::otherKind);
    }
    return withNumber(static_cast<double>(*tenths) * hundredthsPerTenth);
}

RegistryProperties::Property LinuxRegistryProperties::rootDomainProperty(
    std::string_view key) const noexcept {
    const std::optional<fs::path> lid = firstSubfolder(lidFolder_);
    if (!lid) {
        return withKind(Kind::serviceMissing);
    }
    const std::optional<std::string> stateLine =
        key == clamshellStateKey ? KernelFile::readAttribute(*lid / "state") : std::nullopt;
    if (!stateLine) {
        return withKind(Kind::propertyMissing);
    }
    return clamshellState(*stateLine);
}

std::optional<fs::path> LinuxRegistryProperties::systemBattery() const noexcept {
    for (const fs::path& supply : sortedSubfolders(powerSupplyFolder_)) {
        if (KernelFile::readAttribute(supply / "type") == "Battery" &&
            KernelFile::readAttribute(supply / "scope") != "Device") {
            return supply;
        }
    }
    return std::nullopt;
}

RegistryProperties& RegistryProperties::system() {
    static LinuxRegistryProperties instance;
    return instance;
}

}  // namespace tallowbeck
