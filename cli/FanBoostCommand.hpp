#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "TallowbeckCore/fanboost/FanBoostHelperClient.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck fans boost --cpu C --gpu C`: asks the fan helper for a fan boost with those
// thresholds and keeps it for as long as it runs, sending a heartbeat every 5 s and printing the
// status whenever it changes; SIGINT or SIGTERM stops the boost. Continued after being stopped
// (SIGCONT), it sends a heartbeat at once. `tallowbeck fans boost status` prints the helper's
// current status. `--json` prints statuses as JSON, one per line; `--socket` reaches a helper
// listening elsewhere.
//
// Exit status 1, with one line on stderr, when the helper cannot be reached, refuses the boost
// (the session's own message) or goes away; 1 also when the helper ends the boost itself or
// cannot hand the fans back after the stop.
class FanBoostCommand {
public:
    static constexpr std::chrono::seconds heartbeatInterval{5};

    // Adds `boost` and `boost status` to `fans`.
    explicit FanBoostCommand(CLI::App& fans);

    // Whether the command line asked for one of them.
    bool parsed() const;

    static std::string humanReport(const FanBoostStatus& status);

private:
    void run() const;
    void boost() const;
    void showStatus() const;
    FanBoostHelperClient connect() const;
    // The helper's answer to the connection's first request; a failure to get one also says
    // where to look when the helper would not start.
    static FanBoostStatus firstAnswer(const std::function<FanBoostStatus()>& request);
    std::string report(const FanBoostStatus& status) const;

    CLI::App* command_ = nullptr;
    CLI::App* status_ = nullptr;
    std::optional<double> cpuCelsius_;
    std::optional<double> gpuCelsius_;
    std::string socket_{FanBoostHelperClient::defaultSocketPath};
    bool json_ = false;
};

}  // namespace tallowbeck::cli
