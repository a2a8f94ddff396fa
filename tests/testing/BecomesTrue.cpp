#include "tests/testing/BecomesTrue.hpp"

#include <thread>

namespace tallowbeck::testing {

bool becomesTrueWithin(std::chrono::milliseconds timeout, const std::function<bool()>& condition,
                       std::chrono::milliseconds interval) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(interval);
    }
}

}  // namespace tallowbeck::testing
