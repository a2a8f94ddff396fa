#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <system_error>

namespace tallowbeck::testing {

// Linux only: a preparation for ChildProcess::start after which the program is killed when this
// process ends, so that not even a crash of a test leaves it behind.
inline std::function<void()> dyingWithThisProcess() {
    return [parent = ::getpid()] {
        if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) {
            throw std::system_error(errno, std::generic_category(), "prctl");
        }
        // This process may have ended before the request took hold.
        if (::getppid() != parent) {
            ::raise(SIGKILL);
        }
    };
}

}  // namespace tallowbeck::testing
