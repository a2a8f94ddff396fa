#include "TallowbeckCore/platform/ProcessCredentials.hpp"

#include <unistd.h>

namespace tallowbeck {
namespace {

// geteuid is POSIX and behaves the same on Linux and macOS, so both share this one.
class PosixProcessCredentials final : public ProcessCredentials {
public:
    uid_t effectiveUserID() const noexcept override { return ::geteuid(); }
};

}  // namespace

const ProcessCredentials& ProcessCredentials::system() {
    static const PosixProcessCredentials instance;
    return instance;
}

}  // namespace tallowbeck
