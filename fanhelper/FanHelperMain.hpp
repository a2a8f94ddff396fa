#pragma once

#include <functional>

#include "TallowbeckCore/fanboost/FanBoostControlling.hpp"
#include "TallowbeckCore/history/SystemThermalState.hpp"

namespace tallowbeck::fanhelper {

// The privileged fan helper, tallowbeck-fan-helper: refuses to start on a machine whose fans
// it cannot drive; otherwise restores automatic fan control if the recovery flag says it is
// pending, and only then starts listening (openFanHelperTransport) and serves the fan boost
// session (FanBoostHost) until SIGINT or SIGTERM. It then ends any boost and settles, and exits
// with status 0 once the fans are automatic, or after saying on stderr that they could not be
// restored (the flag stays set, so the next start tries again).
//
// Options:
//   --socket PATH          (Linux) listen at PATH, by default
//                          /run/com.tallowbeck.Quillmoss.FanHelper.socket; a listening socket
//                          handed over by the service manager (LISTEN_FDS) takes its place
//   --group NAME           (Linux) members of group NAME may connect too: the socket is then
//                          0660 with that group instead of 0600; the superuser and the helper's
//                          own user may always connect
//   --recovery-file PATH   the recovery flag, by default FanBoostRecoveryFile::defaultPath()
//   --write-launch-definition FOLDER
//                          (macOS install step) writes FOLDER/com.tallowbeck.Quillmoss.
//                          FanHelper.plist for this program's own file, and ends
struct FanHelperMain {
    // The fans and what the session reads besides them.
    struct Machine {
        FanBoostControlling& hardware;
        std::function<SystemThermalState()> thermalState;
        std::function<double()> wallClock;
    };

    static constexpr int failureStatus = 1;
    static constexpr int usageStatus = 2;

    // The whole helper run for the command line `argv`; returns the exit status.
    static int run(int argc, const char* const* argv, const Machine& machine) noexcept;
};

}  // namespace tallowbeck::fanhelper
