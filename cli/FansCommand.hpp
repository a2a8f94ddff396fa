#pragma once

#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"
#include "cli/FanBoostCommand.hpp"

namespace CLI {
class App;
}

namespace tallowbeck {
class FanBoostControlling;
}

namespace tallowbeck::cli {

// `tallowbeck fans`: both fans and the die temperatures, as the fan boost reads them. Fans that
// cannot be read are one error line naming the reason. `tallowbeck fans boost` talks to the fan
// helper (FanBoostCommand).
class FansCommand {
public:
    struct Readings {
        std::vector<FanSpeed> fans;
        ChipTemperatureReading chips;
    };

    explicit FansCommand(CLI::App& app);

    // Throws std::runtime_error naming the reason when the fans cannot be read.
    static Readings read(FanBoostControlling& hardware);
    static std::string humanReport(const Readings& readings);
    static std::string jsonReport(const Readings& readings);

private:
    void run() const;

    CLI::App* command_;
    bool json_ = false;
    FanBoostCommand boost_;
};

}  // namespace tallowbeck::cli
