#include "cli/PlanetsCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/CommandOptions.hpp"

namespace tallowbeck::cli {

namespace {

constexpr std::string_view headingRow = "{:<8}  {:>9}  {:>10}  {:>10}  {:>10}\n";
constexpr std::string_view planetRow = "{:<8}  {:>8.2f}°  {:>10.5f}  {:>10.5f}  {:>10.5f}\n";

}  // namespace

PlanetsCommand::PlanetsCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "planets", "Show the planets' heliocentric positions and ecliptic longitudes");
    addMomentOption(*command, moment_);
    command->add_flag("--json", json_, "Print one JSON array instead of a table");
    command->callback([this] { run(); });
}

void PlanetsCommand::run() const {
    const auto positions = PlanetaryEphemeris::positions(moment_.value_or(WallClock::now()));
    fmt::print("{}", json_ ? jsonReport(positions) + "\n" : humanReport(positions));
}

std::string PlanetsCommand::humanReport(std::span<const PlanetaryPosition> positions) {
    std::string text = fmt::format(headingRow, "Planet", "Longitude", "x (AU)", "y (AU)", "z (AU)");
    for (const PlanetaryPosition& planet : positions) {
        text += fmt::format(planetRow, textValue(planet.body), planet.eclipticLongitudeDegrees,
                            planet.position.x, planet.position.y, planet.position.z);
    }
    return text;
}

std::string PlanetsCommand::jsonReport(std::span<const PlanetaryPosition> positions) {
    JSONWriter json;
    json.beginArray();
    for (const PlanetaryPosition& planet : positions) {
        json.beginObject()
            .key("body")
            .value(textValue(planet.body))
            .key("position")
            .beginObject()
            .key("x")
            .value(planet.position.x)
            .key("y")
            .value(planet.position.y)
            .key("z")
            .value(planet.position.z)
            .endObject()
            .key("eclipticLongitudeDegrees")
            .value(planet.eclipticLongitudeDegrees)
            .endObject();
    }
    json.endArray();
    return json.text();
}

}  // namespace tallowbeck::cli
