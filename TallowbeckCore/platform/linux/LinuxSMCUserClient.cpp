#include "TallowbeckCore/platform/linux/LinuxSMCUserClient.hpp"

#include "TallowbeckCore/platform/IOReturn.hpp"

namespace tallowbeck {

SMCUserClient::Opening LinuxSMCUserClient::open() noexcept {
    return {.outcome = Opening::Outcome::serviceMissing, .connection = 0, .status = 0};
}

std::int32_t LinuxSMCUserClient::callStructMethod(Connection, std::uint32_t,
                                                  std::span<const std::byte>, std::span<std::byte>,
                                                  std::size_t& outputSize) noexcept {
    outputSize = 0;
    return IOReturn::unsupported;
}

void LinuxSMCUserClient::close(Connection) noexcept {}

SMCUserClient& SMCUserClient::system() {
    static LinuxSMCUserClient instance;
    return instance;
}

}  // namespace tallowbeck
