#pragma once

#include <sys/types.h>

#include <chrono>

namespace tallowbeck::testing {

// What a running process has done so far, as Linux's /proc tells it: enough to see whether an
// idle process stays asleep.
struct ProcessActivity {
    // User and system time together, in the kernel's clock ticks' resolution.
    std::chrono::microseconds processorTime{0};
    // How often it has been put to sleep and woken up again, or preempted, by anything.
    long contextSwitches = 0;

    // Throws std::runtime_error when the process's files cannot be read.
    static ProcessActivity of(pid_t pid);
};

}  // namespace tallowbeck::testing
