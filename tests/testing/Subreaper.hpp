#pragma once

#include <sys/prctl.h>

#include <cerrno>
#include <system_error>

namespace tallowbeck::testing {

// Makes this process the new parent of orphans below it while it lives, as init adopts the
// watchdog of a host application that dies, so that a test can reap them.
class Subreaper {
public:
    Subreaper() {
        ::prctl(PR_GET_CHILD_SUBREAPER, &previous_);
        if (::prctl(PR_SET_CHILD_SUBREAPER, 1UL) != 0) {
            throw std::system_error(errno, std::generic_category(), "prctl");
        }
    }
    ~Subreaper() { ::prctl(PR_SET_CHILD_SUBREAPER, static_cast<unsigned long>(previous_)); }

    Subreaper(const Subreaper&) = delete;
    Subreaper& operator=(const Subreaper&) = delete;

private:
    int previous_ = 0;
};

}  // namespace tallowbeck::testing
