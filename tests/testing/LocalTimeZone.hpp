#pragma once

#include <optional>

#include "tests/testing/EnvironmentVariable.hpp"

namespace tallowbeck::testing {

// Makes the process's local time zone `zone` (a TZ value such as "UTC0" or a POSIX rule, which
// needs no time zone database) until it goes.
class LocalTimeZone {
public:
    explicit LocalTimeZone(const char* zone);
    ~LocalTimeZone();
    LocalTimeZone(const LocalTimeZone&) = delete;
    LocalTimeZone& operator=(const LocalTimeZone&) = delete;

private:
    std::optional<EnvironmentVariable> zone_;
};

}  // namespace tallowbeck::testing
