#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "TallowbeckCore/history/TemperatureCSV.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::string_view header =
    "timestamp,battery_celsius,thermal_state,session_active,lid_closed,cpu_max_celsius,"
    "gpu_max_celsius";
constexpr std::string_view idText = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
// 2024-05-01T12:34:56Z
constexpr double halfPastTwelve = 1714566896.0;

TemperatureSample sampleAt(double recordedAt, std::optional<double> battery,
                           std::optional<double> cpu, std::optional<double> gpu,
                           SystemThermalState state = SystemThermalState::nominal,
                           bool sessionActive = false, bool lidClosed = true) {
    return TemperatureSample(*UUID::fromText(idText), recordedAt, battery, cpu, gpu, state,
                             sessionActive, lidClosed);
}

std::string exported(const TemperatureSample& only) {
    return TemperatureCSV::exportText(std::vector<TemperatureSample>{only});
}

// The line of one sample, below the header.
std::string lineOf(const TemperatureSample& only) {
    return exported(only).substr(header.size() + 1);
}

// What printf("%.2f") gives for `value` in the C locale.
std::string printfTwoDecimals(double value) {
    std::array<char, 400> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.2f", value);
    return buffer.data();
}

TEST(TemperatureCSVTests, AnEmptyHistoryIsTheHeaderAloneWithoutALineFeed) {
    EXPECT_EQ(TemperatureCSV::exportText({}), header);
}

TEST(TemperatureCSVTests, ALineHasEveryFieldWithTheDieTemperaturesLast) {
    EXPECT_EQ(exported(sampleAt(halfPastTwelve, 31.25, 61.5, 48.0, SystemThermalState::serious,
                                true, false)),
              std::string(header) + "\n2024-05-01T12:34:56Z,31.25,serious,true,false,61.50,48.00");
}

TEST(TemperatureCSVTests, AbsentTemperaturesAreEmptyFields) {
    EXPECT_EQ(lineOf(sampleAt(halfPastTwelve, std::nullopt, std::nullopt, std::nullopt)),
              "2024-05-01T12:34:56Z,,nominal,false,true,,");
    EXPECT_EQ(lineOf(sampleAt(halfPastTwelve, std::nullopt, 70.0, std::nullopt)),
              "2024-05-01T12:34:56Z,,nominal,false,true,70.00,");
}

TEST(TemperatureCSVTests, SamplesKeepTheirOrderAndDuplicatesStay) {
    const std::vector<TemperatureSample> samples{
        sampleAt(halfPastTwelve + 60, 32.0, std::nullopt, std::nullopt, SystemThermalState::fair),
        sampleAt(halfPastTwelve, 31.0, std::nullopt, std::nullopt, SystemThermalState::critical),
        sampleAt(halfPastTwelve, 31.0, std::nullopt, std::nullopt, SystemThermalState::critical),
    };
    EXPECT_EQ(TemperatureCSV::exportText(samples),
              std::string(header) +
                  "\n2024-05-01T12:35:56Z,32.00,fair,false,true,,"
                  "\n2024-05-01T12:34:56Z,31.00,critical,false,true,,"
                  "\n2024-05-01T12:34:56Z,31.00,critical,false,true,,");
}

TEST(TemperatureCSVTests, AFractionOfASecondIsDropped) {
    EXPECT_EQ(lineOf(sampleAt(halfPastTwelve + 0.75, 30.0, std::nullopt, std::nullopt)),
              "2024-05-01T12:34:56Z,30.00,nominal,false,true,,");
}

TEST(TemperatureCSVTests, NegativeTemperaturesKeepTheirSign) {
    EXPECT_EQ(lineOf(sampleAt(halfPastTwelve, -0.5, -12.345, -0.001)),
              "2024-05-01T12:34:56Z,-0.50,nominal,false,true,-12.35,-0.00");
}

TEST(TemperatureCSVTests, RoundingIsThatOfPrintfOnTheStoredDouble) {
    // The double nearest 36.005 lies just above it, so it rounds up.
    EXPECT_EQ(lineOf(sampleAt(halfPastTwelve, 36.005, std::nullopt, std::nullopt)),
              "2024-05-01T12:34:56Z,36.01,nominal,false,true,,");
    EXPECT_EQ(printfTwoDecimals(36.005), "36.01");
    // Exact halves and values just below a half, where a decimal shortcut would go wrong.
    for (const double value : {36.005, 0.125, 2.675, 1.005, 99.995, -0.125, 1e6 + 0.005}) {
        EXPECT_EQ(lineOf(sampleAt(halfPastTwelve, value, std::nullopt, std::nullopt)),
                  "2024-05-01T12:34:56Z," + printfTwoDecimals(value) + ",nominal,false,true,,")
            << value;
    }
}

// The whole process, C and C++ alike, in a locale whose decimal separator is a comma, then back in
// "C". Where no such locale is installed one is generated with localedef into a temporary
// directory that LOCPATH points at.
class DecimalCommaLocaleTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = installedDecimalCommaLocale();
        if (name.empty()) {
            name = generatedLocale();
        }
        ASSERT_FALSE(name.empty()) << "no decimal-comma locale could be installed or generated";
        std::locale::global(std::locale(name));
        ASSERT_NE(std::setlocale(LC_ALL, name.c_str()), nullptr);
        ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    }

    void TearDown() override {
        std::locale::global(std::locale::classic());
        std::setlocale(LC_ALL, "C");
        ::unsetenv("LOCPATH");
    }

private:
    static constexpr std::array<const char*, 6> candidates{
        "de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "nl_NL.UTF-8", "it_IT.UTF-8"};

    static std::string installedDecimalCommaLocale() {
        for (const char* name : candidates) {
            if (std::setlocale(LC_ALL, name) != nullptr &&
                std::string_view(std::localeconv()->decimal_point) == ",") {
                return name;
            }
        }
        return {};
    }

    std::string generatedLocale() const {
        const std::string name = "de_DE.UTF-8";
        const auto result = testing::runProgram(
            "/usr/bin/localedef",
            {"-i", "de_DE", "-f", "UTF-8", (generated_.path() / name).string()});
        if (result.exitStatus != 0) {
            ADD_FAILURE() << "localedef failed: " << result.standardError;
            return {};
        }
        ::setenv("LOCPATH", generated_.path().c_str(), 1);
        return name;
    }

    testing::TemporaryDirectory generated_;
};

TEST_F(DecimalCommaLocaleTest, TemperaturesKeepADecimalPoint) {
    // The locale is in force: printf itself now writes a comma.
    ASSERT_EQ(printfTwoDecimals(31.25), "31,25");
    const std::string text =
        exported(sampleAt(halfPastTwelve + 0.5, 31.25, -0.5, 1234.5, SystemThermalState::fair));
    EXPECT_EQ(text,
              std::string(header) + "\n2024-05-01T12:34:56Z,31.25,fair,false,true,-0.50,1234.50");
    EXPECT_THAT(text, Not(HasSubstr("31,25")));
}

TEST(TemperatureCSVTests, ATimeNoDateTimeCanExpressIsAnEmptyTimestamp) {
    for (const double recordedAt :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 1e20, -1e20, 253402300800.0, -62167219201.0}) {
        EXPECT_EQ(lineOf(sampleAt(recordedAt, 31.25, std::nullopt, 40.0)),
                  ",31.25,nominal,false,true,,40.00")
            << recordedAt;
    }
}

TEST(TemperatureCSVTests, TheFirstAndLastWritableSecondsAreWritten) {
    EXPECT_EQ(lineOf(sampleAt(-62167219200.0, std::nullopt, std::nullopt, std::nullopt)),
              "0000-01-01T00:00:00Z,,nominal,false,true,,");
    EXPECT_EQ(lineOf(sampleAt(253402300799.5, std::nullopt, std::nullopt, std::nullopt)),
              "9999-12-31T23:59:59Z,,nominal,false,true,,");
}

}  // namespace
}  // namespace tallowbeck
