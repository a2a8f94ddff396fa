#pragma once

#include <optional>
#include <span>
#include <string>

#include "TallowbeckCore/astronomy/PlanetaryPosition.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck planets`: where the eight planets are around the Sun.
class PlanetsCommand {
public:
    explicit PlanetsCommand(CLI::App& app);

    // A heading, then one row per planet: ecliptic longitude and heliocentric x, y, z.
    static std::string humanReport(std::span<const PlanetaryPosition> positions);
    // One JSON array of the positions keyed by their field names, in the given order.
    static std::string jsonReport(std::span<const PlanetaryPosition> positions);

private:
    void run() const;

    std::optional<double> moment_;
    bool json_ = false;
};

}  // namespace tallowbeck::cli
