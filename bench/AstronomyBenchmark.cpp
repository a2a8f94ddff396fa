// Compares one Moon snapshot and one Mars geometry with the bare cost of the model evaluations
// they are made of (moonPosition, respectively PlanetaryEphemeris::position) in a tight loop: the
// searches around those evaluations should add little.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"
#include "TallowbeckCore/astronomy/LunarCalculator.hpp"
#include "TallowbeckCore/astronomy/MarsMissionCalculator.hpp"
#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"

namespace {

using namespace tallowbeck;

struct Observation {
    double moment;
    double latitude;
    double longitude;
};

// At latitude 75° on 2024-01-07 the Moon stays below the horizon for days, so the snapshot makes
// all 433 evaluations; at Greenwich on 2024-05-01 it rises about 14 hours later.
constexpr Observation polarNight{1704600000.0, 75.0, 0.0};
constexpr Observation greenwich{1714566896.25, 51.4779, -0.0015};
// 2024-01-01T00:00:00Z
constexpr double marsStart = 1704067200.0;

// The moonPosition evaluations one snapshot makes: the moment itself and each step of the search
// up to the one with the event.
std::int64_t moonPositionsPerSnapshot(const Observation& observation) {
    const LunarSnapshot snapshot =
        LunarCalculator::snapshot(observation.moment, observation.latitude, observation.longitude);
    if (!snapshot.nextHorizonEvent) {
        return 1 + LunarCalculator::horizonSteps;
    }
    const double elapsed = snapshot.nextHorizonEvent->date - observation.moment;
    return 1 +
           static_cast<std::int64_t>(std::floor(elapsed / LunarCalculator::horizonStepSeconds) + 1);
}

// The planet positions one geometry makes: every function value of its three scans places the
// Earth and Mars, and the closest approach's distance is taken once more at its date.
std::int64_t planetPositionsPerGeometry(double start) {
    std::int64_t values = 0;
    for (const double target : {MarsMissionCalculator::earthToMarsPhaseDegrees,
                                MarsMissionCalculator::marsToEarthPhaseDegrees}) {
        MarsMissionCalculator::earliestMinimum(
            [&values, target](double moment) {
                ++values;
                return MarsMissionCalculator::phaseDeviation(moment, target);
            },
            start, MarsMissionCalculator::windowScanStepSeconds,
            MarsMissionCalculator::windowScanSteps);
    }
    MarsMissionCalculator::earliestMinimum(
        [&values](double moment) {
            ++values;
            return MarsMissionCalculator::distanceAU(moment);
        },
        start, MarsMissionCalculator::approachScanStepSeconds,
        MarsMissionCalculator::approachScanSteps);
    return 2 * (values + 1);
}

void LunarSnapshot(benchmark::State& state, const Observation& observation) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(LunarCalculator::snapshot(observation.moment, observation.latitude,
                                                           observation.longitude));
    }
    state.counters["moonPositions"] = static_cast<double>(moonPositionsPerSnapshot(observation));
}
BENCHMARK_CAPTURE(LunarSnapshot, polarNight, polarNight);
BENCHMARK_CAPTURE(LunarSnapshot, greenwich, greenwich);

void BareMoonPositions(benchmark::State& state, const Observation& observation) {
    const std::int64_t count = moonPositionsPerSnapshot(observation);
    for (auto _ : state) {
        for (std::int64_t step = 0; step < count; ++step) {
            const double moment = observation.moment +
                                  LunarCalculator::horizonStepSeconds * static_cast<double>(step);
            benchmark::DoNotOptimize(
                LunarCalculator::moonPosition(AstronomicalTime::daysSinceJ2000(moment),
                                              observation.latitude, observation.longitude));
        }
    }
    state.counters["moonPositions"] = static_cast<double>(count);
}
BENCHMARK_CAPTURE(BareMoonPositions, polarNight, polarNight);
BENCHMARK_CAPTURE(BareMoonPositions, greenwich, greenwich);

void MarsGeometry(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(MarsMissionCalculator::geometry(marsStart));
    }
    state.counters["positions"] = static_cast<double>(planetPositionsPerGeometry(marsStart));
}
BENCHMARK(MarsGeometry)->Unit(benchmark::kMicrosecond);

void BarePlanetPositions(benchmark::State& state) {
    const std::int64_t count = planetPositionsPerGeometry(marsStart);
    for (auto _ : state) {
        for (std::int64_t index = 0; index < count; ++index) {
            const SolarSystemBody body =
                index % 2 == 0 ? SolarSystemBody::earth : SolarSystemBody::mars;
            const double moment = marsStart + MarsMissionCalculator::windowScanStepSeconds *
                                                  static_cast<double>(index / 2);
            benchmark::DoNotOptimize(PlanetaryEphemeris::position(body, moment));
        }
    }
    state.counters["positions"] = static_cast<double>(count);
}
BENCHMARK(BarePlanetPositions)->Unit(benchmark::kMicrosecond);

}  // namespace
