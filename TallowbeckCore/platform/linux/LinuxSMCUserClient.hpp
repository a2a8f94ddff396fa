#pragma once

#include "TallowbeckCore/platform/SMCUserClient.hpp"

namespace tallowbeck {

// Linux has no system management controller service, so opening answers as macOS does when the
// service is missing. No connection is ever handed out; a call or close on one does nothing.
class LinuxSMCUserClient final : public SMCUserClient {
public:
    Opening open() noexcept override;
    std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                  std::span<const std::byte> input, std::span<std::byte> output,
                                  std::size_t& outputSize) noexcept override;
    void close(Connection connection) noexcept override;
};

}  // namespace tallowbeck
