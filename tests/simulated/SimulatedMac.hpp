#pragma once

#include <string>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "tests/fakes/FakeProcessCredentials.hpp"
#include "tests/fakes/FakeSystemValues.hpp"
#include "tests/simulated/SimulatedSMC.hpp"
#include "tests/testing/VirtualWallClock.hpp"

namespace tallowbeck::testing {

// A supported MacBook Pro with an M1 Pro, simulated fans and a virtual wall clock, run as the
// superuser, and the fan hardware built on all of it.
struct SimulatedMac {
    static constexpr const char* modelName = "hw.model";
    static constexpr const char* brandStringName = "machdep.cpu.brand_string";
    static constexpr double startOfClock = 1.7e9;

    explicit SimulatedMac(SimulatedSMCState state = SimulatedSMCState::twoFanMacBookPro(),
                          const std::string& model = "MacBookPro18,3")
        : smc(std::move(state)),
          values(systemValues(model)),
          hardware(smc, values, credentials, clock.function()) {}

    SimulatedMac(const SimulatedMac&) = delete;
    SimulatedMac& operator=(const SimulatedMac&) = delete;

    static FakeSystemValues systemValues(const std::string& model) {
        FakeSystemValues values;
        values.values[modelName] = model + '\0';
        values.values[brandStringName] = std::string("Apple M1 Pro") + '\0';
        return values;
    }

    SimulatedSMC smc;
    FakeSystemValues values;
    FakeProcessCredentials credentials;
    VirtualWallClock clock{startOfClock};
    FanBoostHardware hardware;
};

}  // namespace tallowbeck::testing
