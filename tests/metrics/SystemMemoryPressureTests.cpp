#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "TallowbeckCore/metrics/SystemMemoryPressure.hpp"
#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"

namespace tallowbeck {
namespace {

TEST(SystemMemoryPressureTests, CasesAreEnumeratedInRisingSeverity) {
    const auto all = allSystemMemoryPressures();
    EXPECT_EQ(std::vector(all.begin(), all.end()),
              (std::vector{SystemMemoryPressure::normal, SystemMemoryPressure::warning,
                           SystemMemoryPressure::critical}));
    EXPECT_LT(SystemMemoryPressure::normal, SystemMemoryPressure::warning);
    EXPECT_LT(SystemMemoryPressure::warning, SystemMemoryPressure::critical);
}

TEST(SystemMemoryPressureTests, TextValues) {
    EXPECT_EQ(textValue(SystemMemoryPressure::normal), "normal");
    EXPECT_EQ(textValue(SystemMemoryPressure::warning), "warning");
    EXPECT_EQ(textValue(SystemMemoryPressure::critical), "critical");
}

TEST(SystemMemoryPressureTests, TextValuesReadBack) {
    for (const SystemMemoryPressure level : allSystemMemoryPressures()) {
        EXPECT_EQ(systemMemoryPressureFromText(textValue(level)), level);
    }
}

TEST(SystemMemoryPressureTests, UnknownTextsAreRejected) {
    for (const char* text : {"", "Normal", "warn", "CRITICAL", " normal", "normal "}) {
        EXPECT_EQ(systemMemoryPressureFromText(text), std::nullopt) << '"' << text << '"';
    }
}

TEST(SystemMemoryPressureTests, DisplayNames) {
    EXPECT_EQ(displayName(SystemMemoryPressure::normal), "Normal");
    EXPECT_EQ(displayName(SystemMemoryPressure::warning), "Warning");
    EXPECT_EQ(displayName(SystemMemoryPressure::critical), "Critical");
}

TEST(SystemMemoryPressureTests, RepresentativeScores) {
    EXPECT_DOUBLE_EQ(representativeScore(SystemMemoryPressure::normal), 0.18);
    EXPECT_DOUBLE_EQ(representativeScore(SystemMemoryPressure::warning), 0.62);
    EXPECT_DOUBLE_EQ(representativeScore(SystemMemoryPressure::critical), 1.0);
}

struct ConfinementCase {
    SystemMemoryPressure level;
    double usage;
    double score;
};

class SystemMemoryPressureConfinementTests : public ::testing::TestWithParam<ConfinementCase> {};

TEST_P(SystemMemoryPressureConfinementTests, ConfinesUsageToTheLevelsBand) {
    const ConfinementCase& example = GetParam();
    EXPECT_DOUBLE_EQ(confinedScore(example.level, example.usage), example.score)
        << textValue(example.level) << ' ' << example.usage;
}

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(Bands, SystemMemoryPressureConfinementTests,
                         ::testing::Values(
                             // A high usage at normal stays below the warning band.
                             ConfinementCase{SystemMemoryPressure::normal, 0.95, 0.59},
                             // A low usage at warning is lifted to the band's bottom.
                             ConfinementCase{SystemMemoryPressure::warning, 0.1, 0.6},
                             ConfinementCase{SystemMemoryPressure::critical, 0.5, 0.85},
                             // Inside its band the score follows the usage.
                             ConfinementCase{SystemMemoryPressure::warning, 0.7, 0.7},
                             ConfinementCase{SystemMemoryPressure::normal, 0.3, 0.3},
                             ConfinementCase{SystemMemoryPressure::critical, 0.9, 0.9},
                             ConfinementCase{SystemMemoryPressure::normal, 0.59, 0.59},
                             ConfinementCase{SystemMemoryPressure::warning, 0.9, 0.84},
                             ConfinementCase{SystemMemoryPressure::warning, 0.6, 0.6},
                             ConfinementCase{SystemMemoryPressure::warning, 0.84, 0.84},
                             ConfinementCase{SystemMemoryPressure::critical, 0.85, 0.85},
                             // Usage is clamped into [0, 1] first; values not above 0 become 0.
                             ConfinementCase{SystemMemoryPressure::normal, -0.4, 0.0},
                             ConfinementCase{SystemMemoryPressure::normal, 0.0, 0.0},
                             ConfinementCase{SystemMemoryPressure::normal, notANumber, 0.0},
                             ConfinementCase{SystemMemoryPressure::warning, -3.0, 0.6},
                             ConfinementCase{SystemMemoryPressure::warning, notANumber, 0.6},
                             ConfinementCase{SystemMemoryPressure::critical, notANumber, 0.85},
                             ConfinementCase{SystemMemoryPressure::critical, 1.5, 1.0},
                             ConfinementCase{SystemMemoryPressure::critical, infinity, 1.0},
                             ConfinementCase{SystemMemoryPressure::normal, infinity, 0.59}));

TEST(SystemMemoryPressureTests, EveryScoreTellsItsLevel) {
    for (int step = -10; step <= 110; ++step) {
        const double usage = step / 100.0;
        const double normal = confinedScore(SystemMemoryPressure::normal, usage);
        const double warning = confinedScore(SystemMemoryPressure::warning, usage);
        const double critical = confinedScore(SystemMemoryPressure::critical, usage);
        EXPECT_GE(normal, 0.0) << usage;
        EXPECT_LT(normal, 0.6) << usage;
        EXPECT_GE(warning, 0.6) << usage;
        EXPECT_LT(warning, 0.85) << usage;
        EXPECT_GE(critical, 0.85) << usage;
        EXPECT_LE(critical, 1.0) << usage;
    }
}

struct FlagsCase {
    std::uint64_t flags;
    SystemMemoryPressure level;
};

class SystemMemoryPressureEventFlagsTests : public ::testing::TestWithParam<FlagsCase> {};

TEST_P(SystemMemoryPressureEventFlagsTests, MostSevereFlagWins) {
    EXPECT_EQ(systemMemoryPressureFromEventFlags(GetParam().flags), GetParam().level)
        << "flags " << GetParam().flags;
}

INSTANTIATE_TEST_SUITE_P(
    Flags, SystemMemoryPressureEventFlagsTests,
    ::testing::Values(
        FlagsCase{0, SystemMemoryPressure::normal}, FlagsCase{1, SystemMemoryPressure::normal},
        FlagsCase{2, SystemMemoryPressure::warning}, FlagsCase{3, SystemMemoryPressure::warning},
        FlagsCase{4, SystemMemoryPressure::critical}, FlagsCase{5, SystemMemoryPressure::critical},
        FlagsCase{6, SystemMemoryPressure::critical}, FlagsCase{7, SystemMemoryPressure::critical},
        // Flags this system does not know do not raise the level.
        FlagsCase{8, SystemMemoryPressure::normal},
        FlagsCase{0x10 | 2, SystemMemoryPressure::warning},
        FlagsCase{~std::uint64_t{0}, SystemMemoryPressure::critical},
        FlagsCase{~std::uint64_t{4}, SystemMemoryPressure::warning},
        FlagsCase{~std::uint64_t{6}, SystemMemoryPressure::normal}));

TEST(SystemMemoryPressureTests, FlagValuesAreThoseOfThePlatform) {
    EXPECT_EQ(systemMemoryPressureFromEventFlags(MemoryPressureEvents::normalFlag),
              SystemMemoryPressure::normal);
    EXPECT_EQ(systemMemoryPressureFromEventFlags(MemoryPressureEvents::warningFlag),
              SystemMemoryPressure::warning);
    EXPECT_EQ(systemMemoryPressureFromEventFlags(MemoryPressureEvents::criticalFlag),
              SystemMemoryPressure::critical);
    EXPECT_EQ(systemMemoryPressureFromEventFlags(MemoryPressureEvents::warningFlag |
                                                 MemoryPressureEvents::criticalFlag),
              SystemMemoryPressure::critical);
}

}  // namespace
}  // namespace tallowbeck
