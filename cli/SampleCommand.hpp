#pragma once

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/temperature/TemperatureReading.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck sample`: one temperature sample as JSON, the form the history stores.
class SampleCommand {
public:
    explicit SampleCommand(CLI::App& app);

    // The sensor's sample with the die temperatures filled in where the sensor has them.
    static TemperatureSample takeSample(TemperatureReading& sensor, bool sessionActive);

private:
    void run() const;

    bool sessionActive_ = false;
};

}  // namespace tallowbeck::cli
