// The fan boost session's steady case: one tick while the fans are held at maximum (read the
// chips, read the fans, write nothing) on the simulated controller, against the same structure
// calls made directly on it. The tick should cost at most 1.2 times the bare calls.
#include <benchmark/benchmark.h>

#include <vector>

#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "tests/fakes/FakeRecoveryJournal.hpp"
#include "tests/simulated/SimulatedMac.hpp"

namespace {

using namespace tallowbeck;

constexpr double uptime = 100.0;
const UUID owner = *UUID::fromText("6F1C2D3E-4A5B-4C6D-8E7F-8091A2B3C4D5");

// A session that holds both fans at maximum on a simulated machine, its calls so far forgotten.
struct BoostingMachine {
    BoostingMachine() {
        mac.smc.setTemperatures(90.0F, 70.0F);
        session.begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0}, owner, uptime);
        mac.smc.calls.clear();
    }

    testing::SimulatedMac mac;
    testing::FakeRecoveryJournal journal;
    FanBoostSession session{mac.hardware, journal, [] { return SystemThermalState::nominal; },
                            mac.clock.function()};
};

void TickAtMaximum(benchmark::State& state) {
    BoostingMachine machine;
    for (auto _ : state) {
        machine.session.tick(uptime);
        // The simulator records every call; both benchmarks forget them at the same pace.
        machine.mac.smc.calls.clear();
    }
    const std::size_t writesBefore = machine.mac.smc.writeCount();
    machine.session.tick(uptime);
    if (!machine.session.status().boosting || machine.mac.smc.writeCount() != writesBefore) {
        state.SkipWithError("the tick did not hold the fans at maximum without writing");
    }
    state.counters["structCallsPerTick"] = static_cast<double>(machine.mac.smc.calls.size());
}
BENCHMARK(TickAtMaximum);

void BareStructCalls(benchmark::State& state) {
    BoostingMachine machine;
    machine.session.tick(uptime);
    testing::SimulatedSMC& smc = machine.mac.smc;
    std::vector<SMCKeyData::Bytes> requests;
    for (const testing::SimulatedSMC::Call& call : smc.calls) {
        requests.push_back(call.input.toBytes());
    }
    smc.calls.clear();
    const SMCUserClient::Connection connection = smc.open().connection;
    for (auto _ : state) {
        for (const SMCKeyData::Bytes& request : requests) {
            SMCKeyData::Bytes reply{};
            std::size_t outputSize = reply.size();
            benchmark::DoNotOptimize(smc.callStructMethod(
                connection, SMCKeyData::structMethodSelector, request, reply, outputSize));
            benchmark::DoNotOptimize(reply);
        }
        smc.calls.clear();
    }
    smc.close(connection);
    state.counters["structCalls"] = static_cast<double>(requests.size());
}
BENCHMARK(BareStructCalls);

}  // namespace
