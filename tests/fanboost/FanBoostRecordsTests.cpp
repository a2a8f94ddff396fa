#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"
#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Kind = DecodingError::Kind;
using testing::thrown;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

const FanSpeed leftFan{.id = 0,
                       .actualRPM = 2500.5,
                       .minimumRPM = 1200.0,
                       .maximumRPM = 5779.0,
                       .targetRPM = 2500.0,
                       .manual = false};
const FanSpeed rightFan{.id = 1,
                        .actualRPM = 6241.0,
                        .minimumRPM = 1200.0,
                        .maximumRPM = 6241.0,
                        .targetRPM = 6241.0,
                        .manual = true};

template <typename Record>
void expectDecodingError(std::string_view text, Kind kind, std::string_view key) {
    const std::optional<DecodingError> error =
        thrown<DecodingError>([&] { Record::fromJSON(text); });
    ASSERT_TRUE(error.has_value()) << text;
    EXPECT_EQ(error->kind(), kind) << text;
    EXPECT_EQ(error->key(), key) << text;
}

bool isValid(double cpu, double gpu) {
    return FanBoostConfiguration{.cpuThresholdCelsius = cpu, .gpuThresholdCelsius = gpu}.isValid();
}

// --- FanBoostConfiguration ---

TEST(FanBoostRecordsTests, ThresholdsOf65And95AreValid) {
    EXPECT_TRUE(isValid(65.0, 95.0));
    EXPECT_TRUE(isValid(95.0, 65.0));
    EXPECT_TRUE(isValid(80.0, 80.0));
}

TEST(FanBoostRecordsTests, AThresholdJustOutsideTheRangeIsNotValid) {
    const double below = std::nextafter(65.0, 0.0);
    const double above = std::nextafter(95.0, 100.0);
    EXPECT_FALSE(isValid(below, 80.0));
    EXPECT_FALSE(isValid(80.0, below));
    EXPECT_FALSE(isValid(above, 80.0));
    EXPECT_FALSE(isValid(80.0, above));
}

TEST(FanBoostRecordsTests, ANonFiniteThresholdIsNotValid) {
    for (const double odd : {nan, infinity, -infinity}) {
        EXPECT_FALSE(isValid(odd, 80.0)) << odd;
        EXPECT_FALSE(isValid(80.0, odd)) << odd;
    }
}

TEST(FanBoostRecordsTests, AConfigurationIsWrittenWithItsFieldNamesInOrder) {
    const FanBoostConfiguration configuration{.cpuThresholdCelsius = 82.5,
                                              .gpuThresholdCelsius = 70.0};
    EXPECT_EQ(configuration.json(), R"({"cpuThresholdCelsius":82.5,"gpuThresholdCelsius":70})");
    EXPECT_EQ(FanBoostConfiguration::fromJSON(configuration.json()), configuration);
}

TEST(FanBoostRecordsTests, AThresholdThatIsNotFiniteIsWrittenAsAWordAndReadBack) {
    const FanBoostConfiguration infinities{.cpuThresholdCelsius = infinity,
                                           .gpuThresholdCelsius = -infinity};
    EXPECT_EQ(infinities.json(),
              R"({"cpuThresholdCelsius":"Infinity","gpuThresholdCelsius":"-Infinity"})");
    EXPECT_EQ(FanBoostConfiguration::fromJSON(infinities.json()), infinities);
    const FanBoostConfiguration withNaN{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = nan};
    EXPECT_EQ(withNaN.json(), R"({"cpuThresholdCelsius":80,"gpuThresholdCelsius":"NaN"})");
    const FanBoostConfiguration decoded = FanBoostConfiguration::fromJSON(withNaN.json());
    EXPECT_EQ(decoded.cpuThresholdCelsius, 80.0);
    EXPECT_TRUE(std::isnan(decoded.gpuThresholdCelsius));
    EXPECT_FALSE(decoded.isValid());
}

TEST(FanBoostRecordsTests, AConfigurationOutOfRangeDecodesAllTheSame) {
    const FanBoostConfiguration configuration =
        FanBoostConfiguration::fromJSON(R"({"cpuThresholdCelsius":20,"gpuThresholdCelsius":200})");
    EXPECT_EQ(configuration,
              (FanBoostConfiguration{.cpuThresholdCelsius = 20.0, .gpuThresholdCelsius = 200.0}));
    EXPECT_FALSE(configuration.isValid());
}

TEST(FanBoostRecordsTests, AConfigurationNeedsBothThresholdsAsNumbers) {
    expectDecodingError<FanBoostConfiguration>(R"({"cpuThresholdCelsius":80})", Kind::keyNotFound,
                                               "gpuThresholdCelsius");
    expectDecodingError<FanBoostConfiguration>(
        R"({"cpuThresholdCelsius":"80","gpuThresholdCelsius":80})", Kind::typeMismatch,
        "cpuThresholdCelsius");
    expectDecodingError<FanBoostConfiguration>(
        R"({"cpuThresholdCelsius":80,"gpuThresholdCelsius":"nan"})", Kind::typeMismatch,
        "gpuThresholdCelsius");
    expectDecodingError<FanBoostConfiguration>(
        R"({"cpuThresholdCelsius":true,"gpuThresholdCelsius":80})", Kind::typeMismatch,
        "cpuThresholdCelsius");
    expectDecodingError<FanBoostConfiguration>(
        R"({"cpuThresholdCelsius":80,"gpuThresholdCelsius":null})", Kind::valueNotFound,
        "gpuThresholdCelsius");
    expectDecodingError<FanBoostConfiguration>("[80,80]", Kind::typeMismatch, "");
    expectDecodingError<FanBoostConfiguration>("{", Kind::dataCorrupted, "");
}

TEST(FanBoostRecordsTests, ConfigurationsAreEqualFieldByFieldAndNaNIsEqualToNothing) {
    const FanBoostConfiguration a{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 75.0};
    EXPECT_EQ(a, (FanBoostConfiguration{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 75.0}));
    EXPECT_NE(a, (FanBoostConfiguration{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 76.0}));
    const FanBoostConfiguration withNaN{.cpuThresholdCelsius = nan, .gpuThresholdCelsius = 75.0};
    EXPECT_NE(withNaN, withNaN);
}

// --- FanSpeed ---

TEST(FanBoostRecordsTests, AFanIsWrittenWithItsFieldNamesInOrder) {
    EXPECT_EQ(leftFan.json(), R"({"id":0,"actualRPM":2500.5,"minimumRPM":1200,"maximumRPM":5779,)"
                              R"("targetRPM":2500,"manual":false})");
    EXPECT_EQ(FanSpeed::fromJSON(rightFan.json()), rightFan);
}

TEST(FanBoostRecordsTests, AFanNeedsEveryKey) {
    for (const char* key : {"id", "actualRPM", "minimumRPM", "maximumRPM", "targetRPM", "manual"}) {
        std::string text = leftFan.json();
        const std::string quoted = std::string("\"") + key + "\"";
        text.replace(text.find(quoted), quoted.size(), "\"other\"");
        expectDecodingError<FanSpeed>(text, Kind::keyNotFound, key);
    }
}

TEST(FanBoostRecordsTests, AFansIdMustBeAnIntegerAndItsModeABoolean) {
    expectDecodingError<FanSpeed>(
        R"({"id":0.5,"actualRPM":1,"minimumRPM":1,"maximumRPM":1,"targetRPM":1,"manual":false})",
        Kind::typeMismatch, "id");
    expectDecodingError<FanSpeed>(
        R"({"id":0,"actualRPM":1,"minimumRPM":1,"maximumRPM":1,"targetRPM":1,"manual":1})",
        Kind::typeMismatch, "manual");
}

TEST(FanBoostRecordsTests, FansAreEqualFieldByField) {
    FanSpeed other = leftFan;
    EXPECT_EQ(other, leftFan);
    other.manual = true;
    EXPECT_NE(other, leftFan);
    other = leftFan;
    other.actualRPM = nan;
    EXPECT_NE(other, other);
}

FanSpeed idleFan(bool manual) {
    return {.id = 0,
            .actualRPM = 0.0,
            .minimumRPM = 1200.0,
            .maximumRPM = 5779.0,
            .targetRPM = 0.0,
            .manual = manual};
}

TEST(FanBoostRecordsTests, AnAutomaticFanAimingBelowItsMinimumIsPlausibleButAForcedOneIsNot) {
    EXPECT_TRUE(idleFan(false).isPlausible());
    EXPECT_FALSE(idleFan(true).isPlausible());
}

TEST(FanBoostRecordsTests, PlausibilityTakesTheLimitsOfTheSpeedsAsTheyAre) {
    FanSpeed fan = leftFan;
    fan.minimumRPM = 500.0;
    fan.maximumRPM = 10000.0;
    fan.targetRPM = 10000.0;
    fan.actualRPM = 20000.0;
    EXPECT_TRUE(fan.isPlausible());
    const auto spoiled = [&](auto change) {
        FanSpeed copy = fan;
        change(copy);
        return copy.isPlausible();
    };
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.id = 2; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.id = -1; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.actualRPM = 20000.5; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.actualRPM = nan; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.actualRPM = -1.0; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.minimumRPM = 499.5; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.maximumRPM = 10000.5; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.minimumRPM = f.maximumRPM; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) { f.targetRPM = infinity; }));
    EXPECT_FALSE(spoiled([](FanSpeed& f) {
        f.manual = true;
        f.targetRPM = 499.0;
    }));
}

TEST(FanBoostRecordsTests, AFanHoldsItsMaximumWhenForcedAndAimingLessThanOneRPMAway) {
    FanSpeed fan = rightFan;
    EXPECT_TRUE(fan.holdsMaximum());
    fan.targetRPM = fan.maximumRPM - 0.5;
    EXPECT_TRUE(fan.holdsMaximum());
    fan.targetRPM = fan.maximumRPM - 1.0;
    EXPECT_FALSE(fan.holdsMaximum());
    fan.targetRPM = fan.maximumRPM;
    fan.manual = false;
    EXPECT_FALSE(fan.holdsMaximum());
}

// --- FanBoostStatus ---

TEST(FanBoostRecordsTests, AStatusWithoutFansOrErrorWritesAnEmptyArrayAndNoErrorKey) {
    const FanBoostStatus status;
    EXPECT_EQ(status.json(),
              R"({"enabled":false,"boosting":false,"restorationPending":false,"fans":[]})");
}

TEST(FanBoostRecordsTests, AStatusIsWrittenWithItsFieldNamesInOrder) {
    const FanBoostStatus status{.enabled = true,
                                .boosting = true,
                                .restorationPending = false,
                                .fans = {leftFan, rightFan},
                                .error = "Fan Boost is \"recovering\" at 65 °C."};
    EXPECT_EQ(status.json(), R"({"enabled":true,"boosting":true,"restorationPending":false,)"
                             R"("fans":[)" +
                                 leftFan.json() + "," + rightFan.json() +
                                 R"(],"error":"Fan Boost is \"recovering\" at 65 °C."})");
}

TEST(FanBoostRecordsTests, AStatusComesBackAsItWasWritten) {
    const FanBoostStatus status{.enabled = false,
                                .boosting = true,
                                .restorationPending = true,
                                .fans = {rightFan},
                                .error = "°C"};
    const FanBoostStatus decoded = FanBoostStatus::fromJSON(status.json());
    EXPECT_FALSE(decoded.enabled);
    EXPECT_TRUE(decoded.boosting);
    EXPECT_TRUE(decoded.restorationPending);
    EXPECT_EQ(decoded.fans, std::vector<FanSpeed>{rightFan});
    EXPECT_EQ(decoded.error, "°C");
}

TEST(FanBoostRecordsTests, AStatusWithoutAnErrorKeyHasNoError) {
    const FanBoostStatus decoded = FanBoostStatus::fromJSON(
        R"({"enabled":true,"boosting":false,"restorationPending":false,"fans":[]})");
    EXPECT_EQ(decoded.error, std::nullopt);
    EXPECT_TRUE(decoded.fans.empty());
}

TEST(FanBoostRecordsTests, AStatusNeedsEveryKeyButTheError) {
    expectDecodingError<FanBoostStatus>(R"({"enabled":true,"boosting":false,"fans":[]})",
                                        Kind::keyNotFound, "restorationPending");
    expectDecodingError<FanBoostStatus>(
        R"({"enabled":true,"boosting":false,"restorationPending":false})", Kind::keyNotFound,
        "fans");
    expectDecodingError<FanBoostStatus>(
        R"({"enabled":true,"boosting":false,"restorationPending":false,"fans":{}})",
        Kind::typeMismatch, "fans");
    expectDecodingError<FanBoostStatus>(
        R"({"enabled":true,"boosting":false,"restorationPending":false,"fans":[],"error":5})",
        Kind::typeMismatch, "error");
    expectDecodingError<FanBoostStatus>(
        R"({"enabled":true,"boosting":false,"restorationPending":false,"fans":[{"id":0}]})",
        Kind::keyNotFound, "actualRPM");
    expectDecodingError<FanBoostStatus>(
        R"({"enabled":true,"boosting":false,"restorationPending":false,"fans":[1]})",
        Kind::typeMismatch, "");
}

}  // namespace
}  // namespace tallowbeck
