#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TallowbeckCore/astronomy/LunarCalculator.hpp"
#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"
#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "cli/MarsCommand.hpp"
#include "cli/MoonCommand.hpp"
#include "cli/PlanetsCommand.hpp"
#include "tests/testing/ProgramRun.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

testing::ProgramResult runTool(const std::vector<std::string>& arguments) {
    return testing::runProgram(TALLOWBECK_CLI_PATH, arguments);
}

// 2024-05-01T12:34:56.250Z
constexpr double mayFirst = 1714566896.25;

LunarSnapshot sampleSnapshot() {
    return {
        .phase = LunarPhase::waxingGibbous,
        .phaseFraction = 0.375,
        .illumination = 0.85,
        .ageDays = 11.0739708198750,
        .distanceKilometers = 384400.5,
        .altitudeDegrees = 12.345,
        .azimuthDegrees = 98.76,
        .rightAscensionHours = 7.5,
        .declinationDegrees = -20.25,
        .eclipticLongitudeDegrees = 110.125,
        .eclipticLatitudeDegrees = -4.5,
        .nextHorizonEvent =
            LunarHorizonEvent{.kind = LunarHorizonEventKind::set, .date = 1714570000.0004},
        .nextNewMoon = 1715189197.893556,
        .nextFullMoon = 1716464919.3326,
    };
}

TEST(AstronomyCommandTests, MoonJsonHasTheFieldsInOrderAndDatesWithMilliseconds) {
    EXPECT_EQ(
        cli::MoonCommand::jsonReport(sampleSnapshot()),
        R"({"phase":"Waxing Gibbous","phaseFraction":0.375,"illumination":0.85,)"
        R"("ageDays":11.073970819875,"distanceKilometers":384400.5,)"
        R"("altitudeDegrees":12.345,"azimuthDegrees":98.76,"rightAscensionHours":7.5,)"
        R"("declinationDegrees":-20.25,"eclipticLongitudeDegrees":110.125,)"
        R"("eclipticLatitudeDegrees":-4.5,)"
        R"("nextHorizonEvent":{"kind":"Moonset","date":"2024-05-01T13:26:40.000Z"},)"
        R"("nextNewMoon":"2024-05-08T17:26:37.894Z","nextFullMoon":"2024-05-23T11:48:39.333Z"})");
}

TEST(AstronomyCommandTests, MoonJsonLeavesOutAMissingHorizonEvent) {
    LunarSnapshot snapshot = sampleSnapshot();
    snapshot.nextHorizonEvent.reset();
    const std::string report = cli::MoonCommand::jsonReport(snapshot);
    EXPECT_THAT(report, HasSubstr(R"("eclipticLatitudeDegrees":-4.5,"nextNewMoon":)"));
    EXPECT_THAT(report, ::testing::Not(HasSubstr("nextHorizonEvent")));
}

TEST(AstronomyCommandTests, MoonHumanReportShowsEveryFigure) {
    const std::string report = cli::MoonCommand::humanReport(sampleSnapshot());
    EXPECT_THAT(report, HasSubstr("Phase:            Waxing Gibbous (85.0 % lit, 11.1 days"));
    EXPECT_THAT(report, HasSubstr("Distance:         384400 km\n"));
    EXPECT_THAT(report, HasSubstr("Altitude:         12.35°\n"));
    EXPECT_THAT(report, HasSubstr("Azimuth:          98.76° from north through east\n"));
    EXPECT_THAT(report, HasSubstr("Right ascension:  7.500 h\n"));
    EXPECT_THAT(report, HasSubstr("Declination:      -20.25°\n"));
    EXPECT_THAT(report, HasSubstr("Ecliptic:         longitude 110.12°, latitude -4.50°\n"));
    EXPECT_THAT(report, HasSubstr("Next event:       Moonset at 2024-05-01T13:26:40Z\n"));
    EXPECT_THAT(report, HasSubstr("Next new moon:    2024-05-08T17:26:37Z\n"));
    EXPECT_THAT(report, HasSubstr("Next full moon:   2024-05-23T11:48:39Z"));

    LunarSnapshot withoutEvent = sampleSnapshot();
    withoutEvent.nextHorizonEvent.reset();
    EXPECT_THAT(cli::MoonCommand::humanReport(withoutEvent),
                HasSubstr("Next event:       no moonrise or moonset within 72 hours\n"));
}

// 10000-01-01T00:00:00Z, the first moment that no date-time text can express.
constexpr double afterTheLastWritableDate = 253402300800.0;

TEST(AstronomyCommandTests, MoonDatesBeyondTheYear9999AreSaidToBeSo) {
    LunarSnapshot snapshot = sampleSnapshot();
    snapshot.nextHorizonEvent->date = afterTheLastWritableDate;
    snapshot.nextNewMoon = afterTheLastWritableDate + 86400;

    const std::string report = cli::MoonCommand::humanReport(snapshot);
    EXPECT_THAT(report, HasSubstr("Next event:       Moonset after 9999-12-31T23:59:59Z\n"));
    EXPECT_THAT(report, HasSubstr("Next new moon:    after 9999-12-31T23:59:59Z\n"));
    EXPECT_THAT(report, HasSubstr("Next full moon:   2024-05-23T11:48:39Z"));

    EXPECT_THAT(cli::MoonCommand::jsonReport(snapshot),
                HasSubstr(R"("nextHorizonEvent":{"kind":"Moonset","date":null},)"
                          R"("nextNewMoon":null,"nextFullMoon":"2024-05-23T11:48:39.333Z"})"));
}

TEST(AstronomyCommandTests, PlanetsJsonIsAnArrayOfPositionsInCaseOrder) {
    const std::vector<PlanetaryPosition> positions{
        {.body = SolarSystemBody::mercury,
         .position = {.x = 0.1, .y = -0.25, .z = 1e-05},
         .eclipticLongitudeDegrees = 291.5},
        {.body = SolarSystemBody::neptune,
         .position = {.x = 29.5, .y = -1.5, .z = -0.625},
         .eclipticLongitudeDegrees = 357.0},
    };
    EXPECT_EQ(cli::PlanetsCommand::jsonReport(positions),
              R"([{"body":"Mercury","position":{"x":0.1,"y":-0.25,"z":1e-05},)"
              R"("eclipticLongitudeDegrees":291.5},)"
              R"({"body":"Neptune","position":{"x":29.5,"y":-1.5,"z":-0.625},)"
              R"("eclipticLongitudeDegrees":357}])");
    const std::string table = cli::PlanetsCommand::humanReport(positions);
    EXPECT_THAT(table, StartsWith("Planet    Longitude      x (AU)      y (AU)      z (AU)\n"));
    EXPECT_THAT(table, HasSubstr("Mercury     291.50°     0.10000    -0.25000     0.00001\n"));
    EXPECT_THAT(table, HasSubstr("Neptune     357.00°    29.50000    -1.50000    -0.62500\n"));
}

MarsMissionGeometry sampleGeometry() {
    return {
        .closestApproach = {.date = 1736655547.1234, .distanceKilometers = 96080000.25},
        .idealTransferDurationDays = 258.8657589178094,
        .nextEarthToMarsWindow = {.departureDate = 1729742507.252397,
                                  .arrivalDate = 1752108508.8228958},
        .nextMarsToEarthWindow = {.departureDate = 1723533839.7009711,
                                  .arrivalDate = 1745899841.2714698},
    };
}

TEST(AstronomyCommandTests, MarsJsonNestsItsRecords) {
    EXPECT_EQ(cli::MarsCommand::jsonReport(sampleGeometry()),
              R"({"closestApproach":{"date":"2025-01-12T04:19:07.123Z",)"
              R"("distanceKilometers":96080000.25},)"
              R"("idealTransferDurationDays":258.8657589178094,)"
              R"("nextEarthToMarsWindow":{"departureDate":"2024-10-24T04:01:47.252Z",)"
              R"("arrivalDate":"2025-07-10T00:48:28.823Z"},)"
              R"("nextMarsToEarthWindow":{"departureDate":"2024-08-13T07:23:59.701Z",)"
              R"("arrivalDate":"2025-04-29T04:10:41.271Z"}})");
}

TEST(AstronomyCommandTests, MarsHumanReportShowsEveryDate) {
    EXPECT_EQ(cli::MarsCommand::humanReport(sampleGeometry()),
              "Closest approach:      2025-01-12T04:19:07Z, 96080000 km\n"
              "Earth to Mars window:  departs 2024-10-24T04:01:47Z, arrives 2025-07-10T00:48:28Z\n"
              "Mars to Earth window:  departs 2024-08-13T07:23:59Z, arrives 2025-04-29T04:10:41Z\n"
              "Transfer duration:     258.9 days");
}

TEST(AstronomyCommandTests, MarsDatesBeyondTheYear9999AreSaidToBeSo) {
    MarsMissionGeometry geometry = sampleGeometry();
    geometry.nextEarthToMarsWindow.arrivalDate = afterTheLastWritableDate + 0.5;

    EXPECT_THAT(cli::MarsCommand::humanReport(geometry),
                HasSubstr("Earth to Mars window:  departs 2024-10-24T04:01:47Z, arrives after "
                          "9999-12-31T23:59:59Z\n"));
    EXPECT_THAT(cli::MarsCommand::jsonReport(geometry),
                HasSubstr(R"("nextEarthToMarsWindow":{"departureDate":"2024-10-24T04:01:47.252Z",)"
                          R"("arrivalDate":null},)"));
}

TEST(AstronomyCommandTests, ToolPrintsTheLibrarysRecordsForTheGivenMoment) {
    const auto moon = runTool({"moon", "--at", "2024-05-01T14:34:56.250+02:00", "--lat", "-33.87",
                               "--lon", "151.21", "--json"});
    ASSERT_EQ(moon.exitStatus, 0) << moon.standardError;
    EXPECT_EQ(
        moon.standardOutput,
        cli::MoonCommand::jsonReport(LunarCalculator::snapshot(mayFirst, -33.87, 151.21)) + "\n");

    const auto planets = runTool({"planets", "--at", "2024-05-01T12:34:56.250Z", "--json"});
    ASSERT_EQ(planets.exitStatus, 0) << planets.standardError;
    EXPECT_EQ(planets.standardOutput,
              cli::PlanetsCommand::jsonReport(PlanetaryEphemeris::positions(mayFirst)) + "\n");

    const auto mars = runTool({"mars", "--at", "2024-05-01T12:34:56.250Z", "--json"});
    ASSERT_EQ(mars.exitStatus, 0) << mars.standardError;
    EXPECT_EQ(mars.standardOutput,
              cli::MarsCommand::jsonReport(MarsMissionCalculator::geometry(mayFirst)) + "\n");
}

TEST(AstronomyCommandTests, ToolDefaultsToNowAndTheObserverAtZeroZero) {
    const double before = WallClock::now();
    const auto result = runTool({"moon", "--json"});
    const double after = WallClock::now();
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    // The report is that of some moment between the two readings of the clock, and the altitude
    // is that of an observer at latitude 0, longitude 0.
    const LunarSnapshot early = LunarCalculator::snapshot(before, 0, 0);
    const LunarSnapshot late = LunarCalculator::snapshot(after, 0, 0);
    EXPECT_THAT(result.standardOutput, HasSubstr(R"({"phase":")"));
    const std::string altitudeKey = R"("altitudeDegrees":)";
    const std::size_t start = result.standardOutput.find(altitudeKey) + altitudeKey.size();
    const double altitude = std::stod(result.standardOutput.substr(start));
    EXPECT_GE(altitude, std::min(early.altitudeDegrees, late.altitudeDegrees));
    EXPECT_LE(altitude, std::max(early.altitudeDegrees, late.altitudeDegrees));

    for (const char* command : {"moon", "planets", "mars"}) {
        const auto readable = runTool({command});
        EXPECT_EQ(readable.exitStatus, 0) << command << ": " << readable.standardError;
        EXPECT_FALSE(readable.standardOutput.empty()) << command;
    }
}

TEST(AstronomyCommandTests, ToolPrintsWhatItCanNearTheEndOfTheYear9999) {
    const std::string lastDayText = "9999-12-31T00:00:00Z";
    constexpr double lastDay = 253402214400.0;
    const LunarSnapshot snapshot = LunarCalculator::snapshot(lastDay, 0, 0);
    const MarsMissionGeometry geometry = MarsMissionCalculator::geometry(lastDay);
    const std::vector<std::pair<std::vector<std::string>, std::string>> runs{
        {{"moon", "--at", lastDayText}, cli::MoonCommand::humanReport(snapshot)},
        {{"moon", "--at", lastDayText, "--json"}, cli::MoonCommand::jsonReport(snapshot)},
        {{"mars", "--at", lastDayText}, cli::MarsCommand::humanReport(geometry)},
        {{"mars", "--at", lastDayText, "--json"}, cli::MarsCommand::jsonReport(geometry)}};
    for (const auto& [arguments, report] : runs) {
        EXPECT_THAT(report,
                    ::testing::AnyOf(HasSubstr("after 9999-12-31T23:59:59Z"), HasSubstr("null")));
        const auto result = runTool(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        EXPECT_EQ(result.standardOutput, report + "\n");
    }
}

void expectOneLineUsageError(const testing::ProgramResult& result, const std::string& mention) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError, StartsWith("tallowbeck: "));
    EXPECT_THAT(result.standardError, HasSubstr(mention));
    EXPECT_EQ(std::count(result.standardError.begin(), result.standardError.end(), '\n'), 1)
        << result.standardError;
}

TEST(AstronomyCommandTests, BadDatesAreUsageErrors) {
    for (const char* command : {"moon", "planets", "mars"}) {
        for (const char* date : {"2024-05-01", "2024-02-30T00:00:00Z", "2024-05-01T12:34:56.250",
                                 "2024-05-01T12:34:56.Z", "now", ""}) {
            expectOneLineUsageError(runTool({command, "--at", date}), "--at");
        }
    }
}

TEST(AstronomyCommandTests, ObserversOutsideTheGlobeAreUsageErrors) {
    for (const auto& [latitude, longitude] : std::vector<std::pair<std::string, std::string>>{
             {"90.5", "0"}, {"-91", "0"}, {"nan", "0"}, {"inf", "0"}, {"1e999", "0"}}) {
        expectOneLineUsageError(runTool({"moon", "--lat", latitude, "--lon", longitude}), "--lat");
    }
    for (const std::string longitude : {"180.01", "-181", "NaN", "-inf", "0x10", "east"}) {
        expectOneLineUsageError(runTool({"moon", "--lat", "0", "--lon", longitude}), "--lon");
    }
    EXPECT_EQ(runTool({"moon", "--lat", "90", "--lon", "-180"}).exitStatus, 0);
    EXPECT_EQ(runTool({"moon", "--lat", "-90", "--lon", "180"}).exitStatus, 0);
}

TEST(AstronomyCommandTests, LatitudeAndLongitudeComeTogether) {
    expectOneLineUsageError(runTool({"moon", "--lat", "45"}), "--lon");
    expectOneLineUsageError(runTool({"moon", "--lon", "45"}), "--lat");
}

}  // namespace
}  // namespace tallowbeck
