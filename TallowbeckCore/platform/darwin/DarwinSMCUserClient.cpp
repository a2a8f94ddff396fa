#include "TallowbeckCore/platform/darwin/DarwinSMCUserClient.hpp"

#include <IOKit/IOKitLib.h>

#include <algorithm>

namespace tallowbeck {

SMCUserClient::Opening DarwinSMCUserClient::open() noexcept {
    using Outcome = Opening::Outcome;
    // The matching dictionary is consumed by the lookup.
    const io_service_t service =
        IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("AppleSMC"));
    if (service == IO_OBJECT_NULL) {
        return {.outcome = Outcome::serviceMissing, .connection = 0, .status = 0};
    }
    io_connect_t connection = IO_OBJECT_NULL;
    const kern_return_t status = IOServiceOpen(service, mach_task_self(), 0, &connection);
    // The connection keeps what it needs of the service.
    IOObjectRelease(service);
    if (status != KERN_SUCCESS) {
        return {.outcome = Outcome::openFailed, .connection = 0, .status = status};
    }
    return {.outcome = Outcome::opened, .connection = connection, .status = 0};
}

std::int32_t DarwinSMCUserClient::callStructMethod(Connection connection, std::uint32_t selector,
                                                   std::span<const std::byte> input,
                                                   std::span<std::byte> output,
                                                   std::size_t& outputSize) noexcept {
    // Never let the kernel write past the buffer, whatever the caller claimed.
    outputSize = std::min(outputSize, output.size());
    return IOConnectCallStructMethod(connection, selector, input.data(), input.size(),
                                     output.data(), &outputSize);
}

void DarwinSMCUserClient::close(Connection connection) noexcept { IOServiceClose(connection); }

SMCUserClient& SMCUserClient::system() {
    static DarwinSMCUserClient instance;
    return instance;
}

}  // namespace tallowbeck
