#pragma once

#include <sys/types.h>
#include <unistd.h>

namespace tallowbeck::testing {

// Runs `work` in a forked child, which exits with the status `work` returns, or 1 when it
// throws; never returns in the child.
template <typename Work>
pid_t forkRunning(Work&& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        int status = 1;
        try {
            status = work();
        } catch (...) {
        }
        ::_exit(status);
    }
    return child;
}

// Waits for the child: its exit status, or 128 plus the signal that ended it, as a shell says.
int exitStatusOf(pid_t child);

}  // namespace tallowbeck::testing
