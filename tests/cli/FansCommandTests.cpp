#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "cli/FansCommand.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using cli::FansCommand;

FansCommand::Readings sampleReadings() {
    return {.fans = {{.id = 0,
                      .actualRPM = 1210.4,
                      .minimumRPM = 1200.0,
                      .maximumRPM = 5779.0,
                      .targetRPM = 0.0,
                      .manual = false},
                     {.id = 1,
                      .actualRPM = 6241.0,
                      .minimumRPM = 1200.0,
                      .maximumRPM = 6241.0,
                      .targetRPM = 6241.0,
                      .manual = true}},
            .chips = {.recordedAt = 1714564800.0, .cpuCelsius = 61.5, .gpuCelsius = 48.25}};
}

TEST(FansCommandTests, TheHumanReportShowsBothFansAndBothDies) {
    EXPECT_EQ(FansCommand::humanReport(sampleReadings()),
              "Fan 0:    1210 rpm (minimum 1200, maximum 5779, target 0), automatic\n"
              "Fan 1:    6241 rpm (minimum 1200, maximum 6241, target 6241), forced\n"
              "CPU die:  61.5 °C\n"
              "GPU die:  48.2 °C");
}

TEST(FansCommandTests, TheHumanReportSaysWhenADieTemperatureIsUnavailable) {
    FansCommand::Readings readings = sampleReadings();
    readings.chips.gpuCelsius.reset();
    EXPECT_THAT(FansCommand::humanReport(readings), ::testing::EndsWith("GPU die:  unavailable"));
}

TEST(FansCommandTests, TheJSONReportUsesTheRecordsFieldNames) {
    EXPECT_EQ(FansCommand::jsonReport(sampleReadings()),
              R"({"fans":[{"id":0,"actualRPM":1210.4,"minimumRPM":1200,"maximumRPM":5779,)"
              R"("targetRPM":0,"manual":false},{"id":1,"actualRPM":6241,"minimumRPM":1200,)"
              R"("maximumRPM":6241,"targetRPM":6241,"manual":true}],"cpuCelsius":61.5,)"
              R"("gpuCelsius":48.25})");
}

TEST(FansCommandTests, AnAbsentTemperatureHasNoKey) {
    FansCommand::Readings readings = sampleReadings();
    readings.chips.cpuCelsius.reset();
    readings.chips.gpuCelsius.reset();
    EXPECT_THAT(FansCommand::jsonReport(readings), ::testing::EndsWith("}]}"));
}

TEST(FansCommandTests, ReadGivesTheSimulatedFansAndDies) {
    testing::SimulatedMac mac(testing::SimulatedSMCState::twoFanMacBookPro(52.0F));
    mac.credentials.effectiveUser = 501;
    const FansCommand::Readings readings = FansCommand::read(mac.hardware);
    ASSERT_EQ(readings.fans.size(), 2u);
    EXPECT_EQ(readings.fans[1].maximumRPM, 6241.0);
    EXPECT_EQ(readings.chips.cpuCelsius, 52.0);
}

TEST(FansCommandTests, FansThatCannotBeReadNameTheReason) {
    testing::SimulatedMac mac(testing::SimulatedSMCState::twoFanMacBookPro(), "Mac14,6");
    const auto error =
        testing::thrown<std::runtime_error>([&] { FansCommand::read(mac.hardware); });
    ASSERT_TRUE(error.has_value());
    EXPECT_STREQ(error->what(), "cannot read the fans: this Mac model is not supported");
}

}  // namespace
}  // namespace tallowbeck
