#include "tests/testing/ChildProcess.hpp"

#include <sys/wait.h>

#include <cerrno>
#include <system_error>

namespace tallowbeck::testing {

int exitStatusOf(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace tallowbeck::testing
