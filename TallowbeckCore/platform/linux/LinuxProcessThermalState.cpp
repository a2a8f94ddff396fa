#include "TallowbeckCore/platform/linux/LinuxProcessThermalState.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;
using Level = ProcessThermalState::Level;

constexpr std::string_view zonePrefix = "thermal_zone";

std::optional<Level> levelOfTripType(std::string_view type) noexcept {
    if (type == "critical" || type == "hot") {
        return Level::critical;
    }
    if (type == "passive") {
        return Level::serious;
    }
    if (type == "active") {
        return Level::fair;
    }
    return std::nullopt;
}

std::optional<std::int64_t> readMillidegrees(const fs::path& path) noexcept {
    const std::optional<std::string> text = KernelFile::readAttribute(path);
    return text ? KernelFile::wholeNumber<std::int64_t>(*text) : std::nullopt;
}

fs::path tripPointFile(const fs::path& zone, int index, std::string_view attribute) {
    return zone / ("trip_point_" + std::to_string(index) + "_" + std::string(attribute));
}

// The level of the highest trip point the zone has reached. The kernel numbers a zone's trip
// points without gaps, so the first missing type ends them.
Level zoneLevel(const fs::path& zone) noexcept {
    const std::optional<std::int64_t> temperature = readMillidegrees(zone / "temp");
    if (!temperature) {
        return Level::nominal;
    }
    Level level = Level::nominal;
    for (int index = 0;; ++index) {
        const std::optional<std::string> type =
            KernelFile::readAttribute(tripPointFile(zone, index, "type"));
        if (!type) {
            return level;
        }
        const std::optional<Level> tripLevel = levelOfTripType(*type);
        const std::optional<std::int64_t> tripTemperature =
            readMillidegrees(tripPointFile(zone, index, "temp"));
        if (tripLevel && tripTemperature && *tripTemperature > 0 &&
            *temperature >= *tripTemperature) {
            level = std::max(level, *tripLevel);
        }
    }
}

bool isZone(const fs::path& entry) noexcept {
    return entry.filename().native().starts_with(zonePrefix);
}

}  // namespace

LinuxProcessThermalState::LinuxProcessThermalState(const fs::path& root)
    : thermalFolder_(root / "sys/class/thermal") {}

ProcessThermalState::Level LinuxProcessThermalState::level() noexcept {
    Level highest = Level::nominal;
    std::error_code error;
    for (fs::directory_iterator entry(thermalFolder_, error), end; !error && entry != end;
         entry.increment(error)) {
        if (isZone(entry->path())) {
            highest = std::max(highest, zoneLevel(entry->path()));
        }
    }
    return highest;
}

ProcessThermalState& ProcessThermalState::system() {
    static LinuxProcessThermalState instance;
    return instance;
}

}  // namespace tallowbeck
