#pragma once

#include <cstdint>

#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"

namespace tallowbeck::testing {

// Delivers events when a test fires them, synchronously on the test's thread. Must outlive
// the subscriptions it hands out.
class FakeMemoryPressureEvents final : public MemoryPressureEvents {
public:
    std::unique_ptr<Subscription> subscribe(Handler handler) override;

    // Calls the handler of the latest subscription, even after that subscription ended, as an
    // event already on its way would; throws std::bad_function_call before any subscription.
    void fire(std::uint64_t flags) const;

    bool subscribed() const noexcept { return liveSubscriptions_ > 0; }
    int subscriptionCount() const noexcept { return subscriptionCount_; }

private:
    class FakeSubscription;

    Handler handler_;
    int liveSubscriptions_ = 0;
    int subscriptionCount_ = 0;
};

}  // namespace tallowbeck::testing
