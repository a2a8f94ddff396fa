#include "TallowbeckCore/platform/darwin/DarwinSystemValues.hpp"

#include <sys/sysctl.h>

namespace tallowbeck {

std::optional<std::size_t> DarwinSystemValues::valueLength(const char* name) noexcept {
    std::size_t length = 0;
    if (sysctlbyname(name, nullptr, &length, nullptr, 0) != 0) {
        return std::nullopt;
    }
    return length;
}

std::optional<std::size_t> DarwinSystemValues::readValue(const char* name,
                                                         std::span<char> buffer) noexcept {
    std::size_t length = buffer.size();
    if (sysctlbyname(name, buffer.data(), &length, nullptr, 0) != 0) {
        return std::nullopt;
    }
    return length;
}

SystemValues& SystemValues::system() {
    static DarwinSystemValues instance;
    return instance;
}

}  // namespace tallowbeck
