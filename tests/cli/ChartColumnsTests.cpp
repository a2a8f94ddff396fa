#include <gtest/gtest.h>

#include <vector>

#include "cli/ChartColumns.hpp"
#include "tests/testing/Samples.hpp"

namespace tallowbeck {
namespace {

using cli::ChartColumns;
using Series = ChartColumns::Series;

// 2024-05-01T12:00:00Z
constexpr double noon = 1714564800.0;
constexpr double minute = 60;

TemperatureSample sample(double recordedAt, std::optional<double> battery,
                         SystemThermalState state = SystemThermalState::nominal,
                         bool sessionActive = false, bool lidClosed = false) {
    return TemperatureSample(UUID::random(), recordedAt, battery, std::nullopt, std::nullopt, state,
                             sessionActive, lidClosed);
}

const std::optional<ChartColumns::Readings>& battery(const ChartColumns::Column& column) {
    return column.series[static_cast<std::size_t>(Series::battery)];
}

TEST(ChartColumnsTests, KeepsTheLowestAndHighestReadingOfEachColumn) {
    std::vector<TemperatureSample> samples;
    constexpr std::size_t count = 43'200;
    for (std::size_t index = 0; index < count; ++index) {
        samples.push_back(sample(noon + static_cast<double>(index) * minute,
                                 index == 20'000 ? 95.0 : 40.0 + static_cast<double>(index % 3)));
    }
    const ChartColumns chart(samples, noon, samples.back().recordedAt(), 900);
    std::size_t spikes = 0;
    for (const ChartColumns::Column& column : chart.columns()) {
        ASSERT_TRUE(battery(column).has_value());
        EXPECT_EQ(battery(column)->minimum, 40.0);
        spikes += battery(column)->maximum == 95.0 ? 1U : 0U;
        EXPECT_TRUE(battery(column)->maximum == 95.0 || battery(column)->maximum == 42.0);
    }
    EXPECT_EQ(spikes, 1U);
    EXPECT_EQ(chart.celsiusRange(), std::pair(40.0, 95.0));
}

TEST(ChartColumnsTests, NoLineAndNoStateRunAcrossAGap) {
    std::vector<TemperatureSample> samples;
    for (int index = 0; index <= 10; ++index) {
        samples.push_back(sample(noon + index * minute, 40, SystemThermalState::serious));
    }
    // Two hours without samples, far more than three times the usual minute between them.
    for (int index = 130; index <= 140; ++index) {
        samples.push_back(sample(noon + index * minute, 45, SystemThermalState::serious));
    }
    const ChartColumns chart(samples, noon, noon + 140 * minute, 140);
    const auto& columns = chart.columns();
    EXPECT_TRUE(battery(columns[5])->joinsPrevious);
    EXPECT_FALSE(columns[60].thermalState.has_value());
    EXPECT_FALSE(battery(columns[60]).has_value());
    EXPECT_FALSE(battery(columns[130])->joinsPrevious);
    EXPECT_TRUE(battery(columns[131])->joinsPrevious);
}

TEST(ChartColumnsTests, AStateHoldsUntilTheNextSample) {
    const std::vector<TemperatureSample> samples{
        sample(noon, 40, SystemThermalState::critical, true, false),
        sample(noon + minute, 41, SystemThermalState::nominal, false, true),
        sample(noon + 2 * minute, 42, SystemThermalState::nominal, false, true)};
    const ChartColumns chart(samples, noon, noon + 2 * minute, 100);
    const auto& columns = chart.columns();
    EXPECT_EQ(columns[0].thermalState, SystemThermalState::critical);
    EXPECT_EQ(columns[49].thermalState, SystemThermalState::critical);
    EXPECT_TRUE(columns[49].sessionActive);
    EXPECT_FALSE(columns[49].lidClosed);
    EXPECT_EQ(columns[50].thermalState, SystemThermalState::nominal);
    EXPECT_FALSE(columns[50].sessionActive);
    EXPECT_TRUE(columns[99].lidClosed);
    // Between the samples' columns there are no readings, but the line runs on.
    EXPECT_FALSE(battery(columns[20]).has_value());
    EXPECT_TRUE(battery(columns[50])->joinsPrevious);
}

TEST(ChartColumnsTests, AnAbsentReadingIsAbsentAndBreaksItsLine) {
    const std::vector<TemperatureSample> samples{
        sample(noon, 40), sample(noon + minute, std::nullopt), sample(noon + 2 * minute, 42),
        sample(noon + 3 * minute, 43)};
    const ChartColumns chart(samples, noon, noon + 3 * minute, 4);
    const auto& columns = chart.columns();
    EXPECT_FALSE(battery(columns[1]).has_value());
    EXPECT_FALSE(battery(columns[2])->joinsPrevious);
    EXPECT_TRUE(battery(columns[3])->joinsPrevious);
    EXPECT_FALSE(columns[0].series[static_cast<std::size_t>(Series::cpu)].has_value());
    EXPECT_EQ(chart.celsiusRange(), std::pair(40.0, 43.0));
}

TEST(ChartColumnsTests, TakesSamplesInTimeOrderAndOnlyThoseInTheStretch) {
    const std::vector<TemperatureSample> samples{
        sample(noon + 2 * minute, 42), sample(noon, 40), sample(noon + minute, 41),
        sample(noon - minute, 99), sample(noon + 3 * minute, 99)};
    const ChartColumns chart(samples, noon, noon + 2 * minute, 3);
    const auto& columns = chart.columns();
    EXPECT_EQ(battery(columns[0])->first, 40.0);
    EXPECT_TRUE(battery(columns[1])->joinsPrevious);
    EXPECT_EQ(battery(columns[2])->last, 42.0);
    EXPECT_EQ(chart.celsiusRange(), std::pair(40.0, 42.0));
}

TEST(ChartColumnsTests, ALoneSampleHasAColumnAndNoHistoryHasNone) {
    const std::vector<TemperatureSample> one{sample(noon, 40)};
    const ChartColumns chart(one, noon - minute, noon + minute, 10);
    EXPECT_EQ(battery(chart.columns()[5])->maximum, 40.0);
    EXPECT_FALSE(battery(chart.columns()[5])->joinsPrevious);
    const ChartColumns empty({}, noon - minute, noon + minute, 10);
    EXPECT_EQ(empty.columns().size(), 10U);
    EXPECT_FALSE(empty.celsiusRange().has_value());
}

}  // namespace
}  // namespace tallowbeck
