#include "TallowbeckCore/platform/darwin/KernelQueueCalls.hpp"

namespace tallowbeck {
namespace {

class SystemKernelQueueCalls final : public KernelQueueCalls {
public:
    int kqueue() override { return ::kqueue(); }
    int kevent64(int queue, const kevent64_s* changes, int changeCount, kevent64_s* events,
                 int eventCount, unsigned int flags, const timespec* timeout) override {
        return ::kevent64(queue, changes, changeCount, events, eventCount, flags, timeout);
    }
};

}  // namespace

KernelQueueCalls& KernelQueueCalls::system() noexcept {
    static SystemKernelQueueCalls calls;
    return calls;
}

}  // namespace tallowbeck
