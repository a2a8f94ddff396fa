#include "cli/SessionClock.hpp"

#include <chrono>

#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck::cli {
namespace {

class SystemSessionClock final : public SessionClock {
public:
    double wallTime() noexcept override { return WallClock::now(); }
    double steadyTime() noexcept override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
};

}  // namespace

SessionClock& SessionClock::system() {
    static SystemSessionClock clock;
    return clock;
}

}  // namespace tallowbeck::cli
