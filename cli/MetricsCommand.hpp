#pragma once

#include <filesystem>
#include <string>

#include "TallowbeckCore/posix/FileCalls.hpp"

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck metrics`: the status figures in the Prometheus text exposition format, printed,
// written for node_exporter's textfile collector, or served to scrapes.
class MetricsCommand {
public:
    // The file that `--textfile DIR` writes in DIR.
    static constexpr const char* textfileName = "tallowbeck.prom";

    explicit MetricsCommand(CLI::App& app, FileCalls& calls = FileCalls::system());

private:
    void run() const;
    void serveUntilStopped() const;

    FileCalls& calls_;
    std::string file_;
    std::string textfileFolder_;
    std::string listenAddress_;
};

}  // namespace tallowbeck::cli
