#pragma once

#include <signal.h>

namespace tallowbeck {

// SIGINT and SIGTERM: the signals that ask a long-running program of ours to end, after it has
// handed back whatever it holds.
inline sigset_t stopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace tallowbeck
