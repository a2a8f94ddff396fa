#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "TallowbeckCore/power/PowerController.hpp"

namespace tallowbeck {

// The watchdog: waits for the process that started it to end, then turns closed-lid sleep back
// on, retrying until the system accepts, so that a dead host application never leaves a closed
// notebook unable to sleep. It prints nothing and always ends with status 0.
struct WatchdogMain {
    // Everything the watchdog asks of the operating system.
    struct Environment {
        std::function<std::int32_t()> parentProcessID;
        std::function<void(double seconds)> sleep;
        // Blocks until `pid` has exited, or returns early when it cannot watch it.
        std::function<void(std::int32_t pid)> waitForExit;
        std::function<std::unique_ptr<PowerController>()> makePowerController;

        static Environment system();
    };

    // A decimal 32-bit signed integer with at most one leading sign and nothing else: no spaces,
    // no radix prefix. Empty when the text is not one or does not fit.
    static std::optional<std::int32_t> parseProcessID(std::string_view text) noexcept;

    // The whole watchdog run for the command line `argv`, which must name exactly one process.
    // Returns the exit status, which is always 0.
    static int run(int argc, const char* const* argv,
                   const Environment& environment = Environment::system()) noexcept;
};

}  // namespace tallowbeck
