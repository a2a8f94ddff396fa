#pragma once

#include <string>

#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/metrics/SystemMetrics.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck status`: the machine's load and temperatures as the library measures them.
class StatusCommand {
public:
    struct Readings {
        SystemMetrics metrics;
        TemperatureSample temperatures;  // with the die temperatures filled in
    };

    explicit StatusCommand(CLI::App& app);

    static std::string humanReport(const Readings& readings);
    static std::string jsonReport(const Readings& readings);

private:
    void run() const;

    bool json_ = false;
};

}  // namespace tallowbeck::cli
