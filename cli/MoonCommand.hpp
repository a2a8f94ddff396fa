#pragma once

#include <optional>
#include <string>

#include "TallowbeckCore/astronomy/LunarSnapshot.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck moon`: the Moon's phase, distance and place in the sky for an observer, its next
// rise or set and the next new and full moon.
class MoonCommand {
public:
    explicit MoonCommand(CLI::App& app);

    static std::string humanReport(const LunarSnapshot& snapshot);
    // One object keyed by the field names; dates with milliseconds, no "nextHorizonEvent" when
    // there is none within 72 hours.
    static std::string jsonReport(const LunarSnapshot& snapshot);

private:
    void run() const;

    std::optional<double> moment_;
    double latitude_ = 0.0;
    double longitude_ = 0.0;
    bool json_ = false;
};

}  // namespace tallowbeck::cli
