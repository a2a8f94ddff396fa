#pragma once

#include <cstddef>

namespace tallowbeck::testing {

// How many descriptors the process has open among the lowest 1024, which is where a leaked one
// shows: the system hands out the lowest free number. Asks fcntl, so it works on every system.
std::size_t openDescriptorCount();

}  // namespace tallowbeck::testing
