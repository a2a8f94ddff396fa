#pragma once

#include <signal.h>
#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "cli/AwakeEvents.hpp"
#include "cli/SessionClock.hpp"

namespace tallowbeck::cli {

// The events of a session run from a terminal, all waited for with one poll: SIGINT, SIGTERM
// and SIGHUP through a pipe that their handler writes to, the command's end and the watched
// process's end through the process-exit watcher's descriptors.
class SystemAwakeEvents final : public AwakeEvents {
public:
    static constexpr std::array<int, 3> stopSignals{SIGINT, SIGTERM, SIGHUP};

    // Takes the stop signals over until it goes. `command` (program and arguments, looked up on
    // the PATH) may be empty; `watchedPID` may be nothing. Throws std::invalid_argument when the
    // process cannot be watched (there is none of that id), std::system_error when the signals
    // cannot be taken over.
    SystemAwakeEvents(SessionClock& clock, std::vector<std::string> command,
                      std::optional<std::int32_t> watchedPID);
    ~SystemAwakeEvents() override;
    SystemAwakeEvents(const SystemAwakeEvents&) = delete;
    SystemAwakeEvents& operator=(const SystemAwakeEvents&) = delete;

    // The command runs with this process's standard streams, environment and process group (so
    // that a terminal's Ctrl-C reaches it too) and the signals' default handling.
    void begin() override;
    std::optional<AwakeEnding> waitUntil(double deadline) override;

private:
    AwakeEnding commandEnding();

    SessionClock& clock_;
    std::vector<std::string> command_;
    std::optional<std::int32_t> watchedPID_;
    FileDescriptor signalReader_;
    FileDescriptor signalWriter_;
    std::array<struct sigaction, stopSignals.size()> previousActions_{};
    FileDescriptor watchedExit_;
    pid_t commandPID_ = -1;
    FileDescriptor commandExit_;
};

// Starts `watchdog` with this process's id as its argument, in a process group of its own so
// that a terminal's Ctrl-C, meant for the session, does not end it. Throws std::system_error.
void startWatchdog(const std::string& watchdog);

}  // namespace tallowbeck::cli
