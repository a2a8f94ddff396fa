#pragma once

#include "TallowbeckCore/platform/ProcessCredentials.hpp"

namespace tallowbeck::testing {

// A process acting as whichever user a test chooses; the superuser unless told otherwise.
class FakeProcessCredentials final : public ProcessCredentials {
public:
    uid_t effectiveUser = 0;

    uid_t effectiveUserID() const noexcept override { return effectiveUser; }
};

}  // namespace tallowbeck::testing
