#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/support/WallClock.hpp"
#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"
#include "fanhelper/FanHelperMain.hpp"

int main(int argc, char** argv) {
    tallowbeck::FanBoostHardware hardware;
    const tallowbeck::MacTemperatureSensor sensor;
    return tallowbeck::fanhelper::FanHelperMain::run(
        argc, argv,
        {.hardware = hardware,
         .thermalState = [&sensor] { return sensor.currentThermalState(); },
         .wallClock = tallowbeck::WallClock::now});
}
