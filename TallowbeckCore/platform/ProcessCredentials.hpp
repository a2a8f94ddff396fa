#pragma once

#include <sys/types.h>

namespace tallowbeck {

// Who the running process acts as.
class ProcessCredentials {
public:
    virtual ~ProcessCredentials() = default;

    // 0 for the superuser.
    virtual uid_t effectiveUserID() const noexcept = 0;

    static const ProcessCredentials& system();
};

}  // namespace tallowbeck
