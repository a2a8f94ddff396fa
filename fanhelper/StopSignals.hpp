#pragma once

#include <signal.h>

namespace tallowbeck::fanhelper {

// SIGINT and SIGTERM, either of which ends the helper once it has handed the fans back. The
// transports block them and take them as shutdown requests.
inline sigset_t stopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace tallowbeck::fanhelper
