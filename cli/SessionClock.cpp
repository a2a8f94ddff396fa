#include "cli/SessionClock.hpp"

#include "TallowbeckCore/support/Uptime.hpp"
#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck::cli {
namespace {

class SystemSessionClock final : public SessionClock {
public:
    double wallTime() noexcept override { return WallClock::now(); }
    double steadyTime() noexcept override { return Uptime::now(); }
};

}  // namespace

SessionClock& SessionClock::system() {
    static SystemSessionClock clock;
    return clock;
}

}  // namespace tallowbeck::cli
