#include "TallowbeckCore/platform/linux/ProcessDescriptorCalls.hpp"

#include <sys/syscall.h>
#include <unistd.h>

namespace tallowbeck {
namespace {

class SystemProcessDescriptorCalls final : public ProcessDescriptorCalls {
public:
    int pidfdOpen(std::int32_t pid) override {
        return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U));
    }
    int poll(pollfd* entries, nfds_t count, int timeout) override {
        return ::poll(entries, count, timeout);
    }
};

}  // namespace

ProcessDescriptorCalls& ProcessDescriptorCalls::system() noexcept {
    static SystemProcessDescriptorCalls calls;
    return calls;
}

}  // namespace tallowbeck
