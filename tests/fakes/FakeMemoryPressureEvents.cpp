#include "tests/fakes/FakeMemoryPressureEvents.hpp"

#include <utility>

namespace tallowbeck::testing {

class FakeMemoryPressureEvents::FakeSubscription final : public Subscription {
public:
    explicit FakeSubscription(int& liveSubscriptions) : liveSubscriptions_(liveSubscriptions) {
        ++liveSubscriptions_;
    }
    ~FakeSubscription() override { --liveSubscriptions_; }

private:
    int& liveSubscriptions_;
};

std::unique_ptr<MemoryPressureEvents::Subscription> FakeMemoryPressureEvents::subscribe(
    Handler handler) {
    handler_ = std::move(handler);
    ++subscriptionCount_;
    return std::make_unique<FakeSubscription>(liveSubscriptions_);
}

void FakeMemoryPressureEvents::fire(std::uint64_t flags) const { handler_(flags); }

}  // namespace tallowbeck::testing
