#include "tests/testing/LocalTimeZone.hpp"

#include <ctime>

namespace tallowbeck::testing {

LocalTimeZone::LocalTimeZone(const char* zone) {
    zone_.emplace("TZ", zone);
    ::tzset();
}

LocalTimeZone::~LocalTimeZone() {
    zone_.reset();
    ::tzset();
}

}  // namespace tallowbeck::testing
