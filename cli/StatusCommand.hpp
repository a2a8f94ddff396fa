#pragma once

#include <string>

#include "TallowbeckCore/metrics/SystemMetrics.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck status`: the machine's load as the library measures it.
class StatusCommand {
public:
    explicit StatusCommand(CLI::App& app);

    static std::string humanReport(const SystemMetrics& metrics);
    static std::string jsonReport(const SystemMetrics& metrics);

private:
    void run() const;

    bool json_ = false;
};

}  // namespace tallowbeck::cli
