#include "cli/MoonCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "TallowbeckCore/astronomy/LunarCalculator.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/CommandOptions.hpp"
#include "cli/ReportText.hpp"

namespace tallowbeck::cli {

namespace {

std::string horizonEventText(const std::optional<LunarHorizonEvent>& event) {
    if (!event) {
        return "no moonrise or moonset within 72 hours";
    }
    const char* at = InternetDateTime::canWrite(event->date) ? " at" : "";
    return fmt::format("{}{} {}", textValue(event->kind), at, dateText(event->date));
}

}  // namespace

MoonCommand::MoonCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "moon", "Show the Moon's phase, distance, place in the sky and next rise or set");
    addMomentOption(*command, moment_);
    CLI::Option* latitude =
        command
            ->add_option("--lat", latitude_, "The observer's latitude, north positive (default 0)")
            ->type_name("DEG")
            ->check(numberWhere("LATITUDE", "a latitude from -90 to 90",
                                [](double degrees) { return degrees >= -90 && degrees <= 90; }));
    CLI::Option* longitude =
        command
            ->add_option("--lon", longitude_, "The observer's longitude, east positive (default 0)")
            ->type_name("DEG")
            ->check(numberWhere("LONGITUDE", "a longitude from -180 to 180",
                                [](double degrees) { return degrees >= -180 && degrees <= 180; }));
    latitude->needs(longitude);
    longitude->needs(latitude);
    command->add_flag("--json", json_, "Print one JSON object instead of text");
    command->callback([this] { run(); });
}

void MoonCommand::run() const {
    const LunarSnapshot snapshot =
        LunarCalculator::snapshot(moment_.value_or(WallClock::now()), latitude_, longitude_);
    fmt::print("{}\n", json_ ? jsonReport(snapshot) : humanReport(snapshot));
}

std::string MoonCommand::humanReport(const LunarSnapshot& snapshot) {
    return fmt::format(
        "Phase:            {} ({:.1f} % lit, {:.1f} days since new moon)\n"
        "Distance:         {:.0f} km\n"
        "Altitude:         {:.2f}°\n"
        "Azimuth:          {:.2f}° from north through east\n"
        "Right ascension:  {:.3f} h\n"
        "Declination:      {:.2f}°\n"
        "Ecliptic:         longitude {:.2f}°, latitude {:.2f}°\n"
        "Next event:       {}\n"
        "Next new moon:    {}\n"
        "Next full moon:   {}",
        textValue(snapshot.phase), snapshot.illumination * 100, snapshot.ageDays,
        snapshot.distanceKilometers, snapshot.altitudeDegrees, snapshot.azimuthDegrees,
        snapshot.rightAscensionHours, snapshot.declinationDegrees,
        snapshot.eclipticLongitudeDegrees, snapshot.eclipticLatitudeDegrees,
        horizonEventText(snapshot.nextHorizonEvent), dateText(snapshot.nextNewMoon),
        dateText(snapshot.nextFullMoon));
}

std::string MoonCommand::jsonReport(const LunarSnapshot& snapshot) {
    JSONWriter json;
    json.beginObject()
        .key("phase")
        .value(textValue(snapshot.phase))
        .key("phaseFraction")
        .value(snapshot.phaseFraction)
        .key("illumination")
        .value(snapshot.illumination)
        .key("ageDays")
        .value(snapshot.ageDays)
        .key("distanceKilometers")
        .value(snapshot.distanceKilometers)
        .key("altitudeDegrees")
        .value(snapshot.altitudeDegrees)
        .key("azimuthDegrees")
        .value(snapshot.azimuthDegrees)
        .key("rightAscensionHours")
        .value(snapshot.rightAscensionHours)
        .key("declinationDegrees")
        .value(snapshot.declinationDegrees)
        .key("eclipticLongitudeDegrees")
        .value(snapshot.eclipticLongitudeDegrees)
        .key("eclipticLatitudeDegrees")
        .value(snapshot.eclipticLatitudeDegrees);
    if (const auto& event = snapshot.nextHorizonEvent) {
        json.key("nextHorizonEvent").beginObject().key("kind").value(textValue(event->kind));
        dateValue(json.key("date"), event->date).endObject();
    }
    dateValue(json.key("nextNewMoon"), snapshot.nextNewMoon);
    dateValue(json.key("nextFullMoon"), snapshot.nextFullMoon).endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
