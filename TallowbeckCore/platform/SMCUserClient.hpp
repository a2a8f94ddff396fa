#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tallowbeck {

// The user client of the system management controller's "AppleSMC" service.
class SMCUserClient {
public:
    using Connection = std::uint32_t;

    // Finding the service and opening a connection of type 0 for the own task. The service
    // object is released right after the open, whatever its result.
    struct Opening {
        enum class Outcome { opened, serviceMissing, openFailed };
        Outcome outcome = Outcome::serviceMissing;
        Connection connection = 0;  // valid only when opened
        std::int32_t status = 0;    // the open's status when it failed
    };

    virtual ~SMCUserClient() = default;

    virtual Opening open() noexcept = 0;
    // The structure call: `outputSize` holds the output's capacity on entry and the size the
    // controller wrote on return. Gives the call's status, 0 on success.
    virtual std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                          std::span<const std::byte> input,
                                          std::span<std::byte> output,
                                          std::size_t& outputSize) noexcept = 0;
    virtual void close(Connection connection) noexcept = 0;

    static SMCUserClient& system();
};

}  // namespace tallowbeck
