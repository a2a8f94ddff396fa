#include "tests/testing/LocalTimeZone.hpp"

#include <cstdlib>
#include <ctime>

namespace tallowbeck::testing {

LocalTimeZone::LocalTimeZone(const char* zone) {
    if (const char* current = std::getenv("TZ")) {
        previous_ = current;
    }
    ::setenv("TZ", zone, 1);
    ::tzset();
}

LocalTimeZone::~LocalTimeZone() {
    if (previous_) {
        ::setenv("TZ", previous_->c_str(), 1);
    } else {
        ::unsetenv("TZ");
    }
    ::tzset();
}

}  // namespace tallowbeck::testing
