#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tallowbeck::testing {

// Everything the simulated system management controller holds, as plain data that can be saved
// to a small file and loaded again, so that another process can drive the same fans.
struct SimulatedSMCState {
    struct Fan {
        double actualRPM = 0.0;
        double minimumRPM = 1200.0;
        double maximumRPM = 5779.0;
        double targetRPM = 0.0;
        // What the firmware aims at while it is in control: 0 while the machine is cool.
        double automaticTargetRPM = 0.0;
        bool forced = false;
        // Forced by a controller other than the one under test.
        bool forcedByAnotherController = false;
    };

    // A key reported with another type or size than the firmware's own.
    struct KeyInfo {
        std::string type;
        std::uint32_t size = 0;
    };

    std::vector<Fan> fans;
    std::uint32_t reportedFanCount = 2;         // "FNum", whatever `fans` holds
    std::map<std::string, float> temperatures;  // die temperature keys, "flt " of 4 bytes
    std::map<std::string, KeyInfo> keyInfoOverrides;
    double rampRPMPerSecond = 1000.0;  // how fast an actual speed follows its target
    double clock = 0.0;                // the firmware's own seconds

    // Two idle fans of a 14-inch model in automatic control, every die key at `celsius`.
    static SimulatedSMCState twoFanMacBookPro(float celsius = 45.0F);

    // Every fan forced and aiming at its maximum, as a boost leaves them.
    void forceFansToMaximum();
    bool anyFanForced() const;

    std::string json() const;
    static SimulatedSMCState fromJSON(std::string_view text);
    // Replaces the file in one step.
    void save(const std::filesystem::path& file) const;
    static SimulatedSMCState load(const std::filesystem::path& file);
};

}  // namespace tallowbeck::testing
