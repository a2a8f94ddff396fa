#include "TallowbeckCore/platform/linux/LinuxRegistryProperties.hpp"

#include <algorithm>
#include <exception>
#include <system_error>
#include <vector>

#include "TallowbeckCore/platform/linux/DBusConnection.hpp"
#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;

// The kernel reports tenths of a degree.
constexpr double tenthsPerDegree = 10.0;
constexpr std::string_view lidStateLabel = "state:";

constexpr DBusMethod logindLidClosed{"org.freedesktop.login1", "/org/freedesktop/login1",
                                     "org.freedesktop.login1.Manager", "LidClosed"};

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
RegistryValue clamshellState(const std::string& stateLine) noexcept {
    if (!stateLine.starts_with(lidStateLabel)) {
        return RegistryValue::text(stateLine);
    }
    std::string_view state = std::string_view(stateLine).substr(lidStateLabel.size());
    state.remove_prefix(std::min(state.find_first_not_of(' '), state.size()));
    if (state == "open" || state == "closed") {
        return RegistryValue::boolean(state == "closed");
    }
    return RegistryValue::text(stateLine);
}

}  // namespace

LinuxRegistryProperties::LinuxRegistryProperties(const fs::path& root)
    : powerSupplyFolder_(root / "sys/class/power_supply"),
      lidFolder_(root / "proc/acpi/button/lid") {}

RegistryValue LinuxRegistryProperties::property(std::string_view serviceClass,
                                                std::string_view key) noexcept {
    if (serviceClass == batteryService) {
        return batteryProperty(key);
    }
    if (serviceClass == rootDomainService) {
        return rootDomainProperty(key);
    }
    return RegistryValue::missingService();
}

RegistryValue LinuxRegistryProperties::batteryProperty(std::string_view key) const noexcept {
    const std::optional<fs::path> battery = systemBattery();
    if (!battery) {
        return RegistryValue::missingService();
    }
    const std::optional<std::string> temperature =
        key == batteryTemperatureKey ? KernelFile::readAttribute(*battery / "temp") : std::nullopt;
    if (!temperature) {
        return RegistryValue::missingProperty();
    }
    const std::optional<std::int64_t> tenths = KernelFile::wholeNumber<std::int64_t>(*temperature);
    if (!tenths) {
        return RegistryValue::text(*temperature);
    }
    return RegistryValue::number(static_cast<double>(*tenths) *
                                 (batteryTemperatureUnitsPerDegree / tenthsPerDegree));
}

RegistryValue LinuxRegistryProperties::rootDomainProperty(std::string_view key) const noexcept {
    const std::optional<fs::path> lid = firstSubfolder(lidFolder_);
    if (!lid) {
        return logindRootDomainProperty(key);
    }
    const std::optional<std::string> stateLine =
        key == clamshellStateKey ? KernelFile::readAttribute(*lid / "state") : std::nullopt;
    if (!stateLine) {
        return RegistryValue::missingProperty();
    }
    return clamshellState(*stateLine);
}

RegistryValue LinuxRegistryProperties::logindRootDomainProperty(std::string_view key) noexcept {
    try {
        const bool closed =
            DBusConnection::open(DBusConnection::Bus::system).booleanProperty(logindLidClosed);
        return key == clamshellStateKey ? RegistryValue::boolean(closed)
                                        : RegistryValue::missingProperty();
    } catch (const DBusFailure&) {
        return RegistryValue::missingService();
    } catch (const std::exception&) {
        return RegistryValue::missingService();
    }
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
