// The fan helper's own routine and server code, run with simulated fans whose state lives in a
// file, on a supported MacBook Pro model, acting as the superuser; the end-to-end tests start it
// as a real process and read the fans from the file.
//
//   tallowbeck-simulated-fan-helper FANS.json [the helper's options]

#include <cstdio>

#include "TallowbeckCore/support/WallClock.hpp"
#include "fanhelper/FanHelperMain.hpp"
#include "tests/fakes/FakeProcessCredentials.hpp"
#include "tests/simulated/FileBackedSMC.hpp"
#include "tests/simulated/SimulatedMac.hpp"

int main(int argc, char** argv) {
    using namespace tallowbeck;
    if (argc < 2) {
        std::fputs("usage: tallowbeck-simulated-fan-helper FANS.json [helper options]\n", stderr);
        return fanhelper::FanHelperMain::usageStatus;
    }
    testing::FileBackedSMC smc(argv[1]);
    testing::FakeSystemValues values = testing::SimulatedMac::systemValues("MacBookPro18,3");
    const testing::FakeProcessCredentials superuser;
    FanBoostHardware hardware(smc, values, superuser, WallClock::now);
    // The helper's options follow the fans' file, under the program's own name.
    argv[1] = argv[0];
    return fanhelper::FanHelperMain::run(
        argc - 1, argv + 1,
        {.hardware = hardware,
         .thermalState = [] { return SystemThermalState::nominal; },
         .wallClock = WallClock::now});
}
