#include "watchdog/WatchdogMain.hpp"

#include <unistd.h>

#include <chrono>
#include <limits>
#include <thread>

#include "TallowbeckCore/power/ProcessExitWatcher.hpp"

namespace tallowbeck {
namespace {

constexpr int exitStatus = 0;
constexpr int expectedArgumentCount = 2;
// 0, 1 and negative ids name no single ordinary process.
constexpr std::int32_t lowestWatchablePID = 2;
// Keeps a watcher that cannot watch, or a system that keeps refusing, from spinning.
constexpr double retryIntervalSeconds = 2.0;

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// The parent's own exit is the only trusted signal: the watcher also returns when it could not
// watch at all, and then only a pause separates two attempts.
void waitForParentExit(std::int32_t parentID, const WatchdogMain::Environment& environment) {
    while (environment.parentProcessID() == parentID) {
        environment.waitForExit(parentID);
        if (environment.parentProcessID() == parentID) {
            environment.sleep(retryIntervalSeconds);
        }
    }
}

bool tryRestoreClosedLidSleep(PowerController& controller) noexcept {
    try {
        controller.restoreClosedLidSleep();
        return true;
    } catch (...) {
        // Nobody is left to tell; the next attempt is the only remedy.
        return false;
    }
}

// Retries without limit: giving up would leave a closed notebook unable to sleep.
void restoreClosedLidSleep(const WatchdogMain::Environment& environment) {
    const std::unique_ptr<PowerController> controller = environment.makePowerController();
    while (!tryRestoreClosedLidSleep(*controller)) {
        environment.sleep(retryIntervalSeconds);
    }
}

}  // namespace

WatchdogMain::Environment WatchdogMain::Environment::system() {
    Environment environment;
    environment.parentProcessID = [] { return static_cast<std::int32_t>(::getppid()); };
    environment.sleep = [](double seconds) {
        // sleep_for measures on the steady clock, so changes of the wall clock do not matter.
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    };
    environment.waitForExit = [](std::int32_t pid) { ProcessExitWatcher::waitForExit(pid); };
    environment.makePowerController = [] { return std::make_unique<PowerController>(); };
    return environment;
}

std::optional<std::int32_t> WatchdogMain::parseProcessID(std::string_view text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    // Each step is checked against the 32-bit range, so the wider type never overflows itself.
    std::int64_t value = 0;
    for (const char character : text) {
        if (!isDigit(character)) {
            return std::nullopt;
        }
        const int digit = character - '0';
        value = value * 10 + (negative ? -digit : digit);
        if (value < std::numeric_limits<std::int32_t>::min() ||
            value > std::numeric_limits<std::int32_t>::max()) {
            return std::nullopt;
        }
    }
    return static_cast<std::int32_t>(value);
}

int WatchdogMain::run(int argc, const char* const* argv, const Environment& environment) noexcept {
    if (argc != expectedArgumentCount) {
        return exitStatus;
    }
    const std::optional<std::int32_t> parentID = parseProcessID(argv[1]);
    if (!parentID || *parentID < lowestWatchablePID) {
        return exitStatus;
    }
    try {
        waitForParentExit(*parentID, environment);
        restoreClosedLidSleep(environment);
    } catch (...) {
        // Only the environment itself can throw here (no memory left for the controller); the
        // run still ends quietly, like every other.
    }
    return exitStatus;
}

}  // namespace tallowbeck
