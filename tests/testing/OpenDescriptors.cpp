#include "tests/testing/OpenDescriptors.hpp"

#include <fcntl.h>

namespace tallowbeck::testing {

std::size_t openDescriptorCount() {
    constexpr int probed = 1024;
    std::size_t count = 0;
    for (int descriptor = 0; descriptor < probed; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) != -1) {
            ++count;
        }
    }
    return count;
}

}  // namespace tallowbeck::testing
