#pragma once

#include "TallowbeckCore/platform/SMCUserClient.hpp"

namespace tallowbeck {

// The "AppleSMC" service's user client through IOKit.
class DarwinSMCUserClient final : public SMCUserClient {
public:
    Opening open() noexcept override;
    std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                  std::span<const std::byte> input, std::span<std::byte> output,
                                  std::size_t& outputSize) noexcept override;
    void close(Connection connection) noexcept override;
};

}  // namespace tallowbeck
