#pragma once

#include <optional>
#include <string>

#include "TallowbeckCore/astronomy/MarsMissionGeometry.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck mars`: the next Earth-Mars closest approach and the next transfer windows each way.
class MarsCommand {
public:
    explicit MarsCommand(CLI::App& app);

    static std::string humanReport(const MarsMissionGeometry& geometry);
    // One object keyed by the field names, with the nested records as objects and dates with
    // milliseconds.
    static std::string jsonReport(const MarsMissionGeometry& geometry);

private:
    void run() const;

    std::optional<double> moment_;
    bool json_ = false;
};

}  // namespace tallowbeck::cli
