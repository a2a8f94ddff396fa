#include "cli/MarsCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/CommandOptions.hpp"
#include "cli/ReportText.hpp"

namespace tallowbeck::cli {

namespace {

std::string windowText(const HohmannTransferWindow& window) {
    return fmt::format("departs {}, arrives {}", dateText(window.departureDate),
                       dateText(window.arrivalDate));
}

void writeWindow(JSONWriter& json, std::string_view name, const HohmannTransferWindow& window) {
    json.key(name).beginObject();
    dateValue(json.key("departureDate"), window.departureDate);
    dateValue(json.key("arrivalDate"), window.arrivalDate).endObject();
}

}  // namespace

MarsCommand::MarsCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "mars", "Show the next Earth-Mars closest approach and Hohmann transfer windows");
    addMomentOption(*command, moment_);
    command->add_flag("--json", json_, "Print one JSON object instead of text");
    command->callback([this] { run(); });
}

void MarsCommand::run() const {
    const MarsMissionGeometry geometry =
        MarsMissionCalculator::geometry(moment_.value_or(WallClock::now()));
    fmt::print("{}\n", json_ ? jsonReport(geometry) : humanReport(geometry));
}

std::string MarsCommand::humanReport(const MarsMissionGeometry& geometry) {
    return fmt::format(
        "Closest approach:      {}, {:.0f} km\n"
        "Earth to Mars window:  {}\n"
        "Mars to Earth window:  {}\n"
        "Transfer duration:     {:.1f} days",
        dateText(geometry.closestApproach.date), geometry.closestApproach.distanceKilometers,
        windowText(geometry.nextEarthToMarsWindow), windowText(geometry.nextMarsToEarthWindow),
        geometry.idealTransferDurationDays);
}

std::string MarsCommand::jsonReport(const MarsMissionGeometry& geometry) {
    JSONWriter json;
    json.beginObject().key("closestApproach").beginObject();
    dateValue(json.key("date"), geometry.closestApproach.date)
        .key("distanceKilometers")
        .value(geometry.closestApproach.distanceKilometers)
        .endObject()
        .key("idealTransferDurationDays")
        .value(geometry.idealTransferDurationDays);
    writeWindow(json, "nextEarthToMarsWindow", geometry.nextEarthToMarsWindow);
    writeWindow(json, "nextMarsToEarthWindow", geometry.nextMarsToEarthWindow);
    json.endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
