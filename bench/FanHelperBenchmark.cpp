// The fan helper as its clients meet it: a real helper process (the helper's own routine with
// simulated fans kept in a file), reached through its Unix socket.
//
// HeartbeatRoundTrip: the owner's heartbeat during a running boost, from sending the request to
// decoding the status that answers it. Every repetition is one round trip, so the median and p99
// rows are those of single round trips. The helper ticks every second meanwhile, as it does for
// a real boost.
//
// IdleHelper: the helper's processor time and context switches over two idle seconds after a
// boost has ended; with no timer running while nobody needs ticks, both should be zero.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHelperClient.hpp"
#include "tests/simulated/SimulatedSMCState.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/ProcessActivity.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using tallowbeck::FanBoostHelperClient;
using tallowbeck::testing::ChildProcess;
using tallowbeck::testing::ProcessActivity;

constexpr auto idlePeriod = 2s;
constexpr int roundTrips = 5000;
const tallowbeck::FanBoostConfiguration eighty{.cpuThresholdCelsius = 80.0,
                                               .gpuThresholdCelsius = 80.0};

bool accepts(const fs::path& socket) {
    try {
        const FanBoostHelperClient probe(socket);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

// The helper process and its folder, for the whole benchmark run. The chips run hot, so a boost
// holds the fans at maximum.
class SimulatedHelper {
public:
    SimulatedHelper() : process_(start()) {
        if (!tallowbeck::testing::becomesTrueWithin(10s, [this] { return accepts(socket()); })) {
            throw std::runtime_error("the simulated fan helper does not listen");
        }
    }
    ~SimulatedHelper() { process_.stop(10s); }

    SimulatedHelper(const SimulatedHelper&) = delete;
    SimulatedHelper& operator=(const SimulatedHelper&) = delete;

    fs::path socket() const { return folder_.path() / "helper.socket"; }
    pid_t pid() const noexcept { return process_.pid(); }

private:
    ChildProcess start() const {
        const fs::path fans = folder_.path() / "fans.json";
        tallowbeck::testing::SimulatedSMCState::twoFanMacBookPro(90.0F).save(fans);
        return ChildProcess::start(TALLOWBECK_SIMULATED_FAN_HELPER_PATH,
                                   {fans.string(), "--socket", socket().string(), "--recovery-file",
                                    (folder_.path() / "flag").string()});
    }

    tallowbeck::testing::TemporaryDirectory folder_;
    ChildProcess process_;
};

SimulatedHelper& helper() {
    static SimulatedHelper instance;
    return instance;
}

// The one client that owns a boost for the round trips.
FanBoostHelperClient& boostOwner() {
    static FanBoostHelperClient owner = [] {
        FanBoostHelperClient client(helper().socket());
        if (!client.begin(eighty).boosting) {
            throw std::runtime_error("the helper did not begin the boost");
        }
        return client;
    }();
    return owner;
}

double percentile99(const std::vector<double>& values) {
    std::vector<double> sorted = values;
    std::ranges::sort(sorted);
    const auto rank =
        static_cast<std::size_t>(std::ceil(0.99 * static_cast<double>(sorted.size())));
    return sorted.at(std::max<std::size_t>(rank, 1) - 1);
}

void HeartbeatRoundTrip(benchmark::State& state) {
    FanBoostHelperClient& owner = boostOwner();
    for (auto _ : state) {
        benchmark::DoNotOptimize(owner.heartbeat());
    }
}
BENCHMARK(HeartbeatRoundTrip)
    ->Iterations(1)
    ->Repetitions(roundTrips)
    ->ComputeStatistics("p99", percentile99)
    ->ReportAggregatesOnly(true)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

void IdleHelper(benchmark::State& state) {
    boostOwner().stop();
    // Whatever ending the boost still had the helper do.
    std::this_thread::sleep_for(100ms);
    const ProcessActivity before = ProcessActivity::of(helper().pid());
    for (auto _ : state) {
        std::this_thread::sleep_for(idlePeriod);
    }
    const ProcessActivity after = ProcessActivity::of(helper().pid());
    state.counters["cpu_ms"] =
        std::chrono::duration<double, std::milli>(after.processorTime - before.processorTime)
            .count();
    state.counters["context_switches"] =
        static_cast<double>(after.contextSwitches - before.contextSwitches);
}
BENCHMARK(IdleHelper)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
