#include "TallowbeckCore/platform/darwin/DarwinMemoryPressureEvents.hpp"

#include <dispatch/dispatch.h>

#include <cstdint>
#include <utility>

namespace tallowbeck {
namespace {

static_assert(DISPATCH_MEMORYPRESSURE_NORMAL == MemoryPressureEvents::normalFlag &&
                  DISPATCH_MEMORYPRESSURE_WARN == MemoryPressureEvents::warningFlag &&
                  DISPATCH_MEMORYPRESSURE_CRITICAL == MemoryPressureEvents::criticalFlag,
              "event data is handed on unchanged");

constexpr const char* queueLabel = "io.ordwell.memory-pressure";
constexpr std::uintptr_t allPressureLevels = DISPATCH_MEMORYPRESSURE_NORMAL |
                                             DISPATCH_MEMORYPRESSURE_WARN |
                                             DISPATCH_MEMORYPRESSURE_CRITICAL;

dispatch_queue_t makeSerialUtilityQueue() noexcept {
    return dispatch_queue_create(queueLabel, dispatch_queue_attr_make_with_qos_class(
                                                 DISPATCH_QUEUE_SERIAL, QOS_CLASS_UTILITY, 0));
}

// Without a source (the system refused one) no event ever arrives. Must not be destroyed from
// its own handler: the destructor waits on the handler's queue.
class DarwinMemoryPressureSubscription final : public MemoryPressureEvents::Subscription {
public:
    explicit DarwinMemoryPressureSubscription(MemoryPressureEvents::Handler handler) noexcept
        : handler_(std::move(handler)),
          queue_(makeSerialUtilityQueue()),
          source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_MEMORYPRESSURE, 0, allPressureLevels,
                                         queue_)) {
        if (source_ == nullptr) {
            return;
        }
        dispatch_set_context(source_, this);
        dispatch_source_set_event_handler_f(source_, &deliver);
        dispatch_resume(source_);
    }

    // Cancelling stops new deliveries; the empty call behind it on the serial queue returns
    // only after a delivery that was already running has finished.
    ~DarwinMemoryPressureSubscription() override {
        if (source_ != nullptr) {
            dispatch_source_cancel(source_);
            dispatch_sync_f(queue_, nullptr, [](void*) {});
            dispatch_release(source_);
        }
        dispatch_release(queue_);
    }

    DarwinMemoryPressureSubscription(const DarwinMemoryPressureSubscription&) = delete;
    DarwinMemoryPressureSubscription& operator=(const DarwinMemoryPressureSubscription&) = delete;

private:
    static void deliver(void* context) noexcept {
        auto& subscription = *static_cast<DarwinMemoryPressureSubscription*>(context);
        subscription.handler_(dispatch_source_get_data(subscription.source_));
    }

    MemoryPressureEvents::Handler handler_;
    dispatch_queue_t queue_;
    dispatch_source_t source_;
};

}  // namespace

std::unique_ptr<MemoryPressureEvents::Subscription> DarwinMemoryPressureEvents::subscribe(
    Handler handler) {
    return std::make_unique<DarwinMemoryPressureSubscription>(std::move(handler));
}

MemoryPressureEvents& MemoryPressureEvents::system() {
    static DarwinMemoryPressureEvents instance;
    return instance;
}

}  // namespace tallowbeck
