#pragma once

#include <signal.h>

#include <chrono>
#include <optional>

namespace tallowbeck::cli {

// Blocks SIGINT and SIGTERM on the calling thread for the rest of the process's life, so that
// they wait to be taken by `stopRequestedBefore` instead of ending the process, even in the
// middle of writing a file or talking to the fan helper. Gives the two as a set. Throws
// std::system_error.
sigset_t blockStopSignals();

// Blocks `signal` as well and adds it to `signals`, so that it is waited for with them. Throws
// std::system_error.
void alsoAwait(sigset_t& signals, int signal);

// Sleeps until `deadline` unless one of `signals`, which must be blocked, comes first; gives the
// one that came. Throws std::system_error.
std::optional<int> signalBefore(const sigset_t& signals,
                                std::chrono::steady_clock::time_point deadline);

// Sleeps until `deadline` unless one of `stopSignals` comes first; tells whether one came.
// Throws std::system_error.
bool stopRequestedBefore(const sigset_t& stopSignals,
                         std::chrono::steady_clock::time_point deadline);

// Sleeps until the wall clock reads `secondsSince1970` unless one of `stopSignals` comes first;
// tells whether one came. A time that passes while the machine is suspended ends the sleep as
// soon as it wakes. Throws std::system_error.
bool stopRequestedBeforeWallTime(const sigset_t& stopSignals, double secondsSince1970);

}  // namespace tallowbeck::cli
