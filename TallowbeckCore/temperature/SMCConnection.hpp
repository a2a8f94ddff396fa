#pragma once

#include <optional>
#include <string_view>

#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/temperature/SMCKeyData.hpp"

namespace tallowbeck {

// One open connection to the system management controller, closed exactly once when its owner
// lets it go.
class SMCConnection {
public:
    // Finds the service and opens a connection; nothing when there is no service or the open
    // fails.
    static std::optional<SMCConnection> open(SMCUserClient& client) noexcept;

    // Takes over a connection that `client` opened, for callers that look at the opening's
    // outcome themselves.
    SMCConnection(SMCUserClient& client, SMCUserClient::Connection connection) noexcept;
    SMCConnection(SMCConnection&& other) noexcept;
    SMCConnection& operator=(SMCConnection&& other) noexcept;
    SMCConnection(const SMCConnection&) = delete;
    SMCConnection& operator=(const SMCConnection&) = delete;
    ~SMCConnection();

    // One structure call, answered into `output` (the fan boost makes fifty a tick): false when
    // the call, its output size or the controller's result byte tells of a failure, and `output`
    // then holds whatever came back.
    bool call(const SMCKeyData& input, SMCKeyData& output) const noexcept;

    // A "flt " key of 4 bytes as a temperature: nothing for any other type or size, and for
    // values that are not between 1 and 125 °C (both included).
    std::optional<double> readKeyFloat(std::string_view key) const noexcept;

private:
    void close() noexcept;

    SMCUserClient* client_;
    std::optional<SMCUserClient::Connection> connection_;  // none once moved from
};

}  // namespace tallowbeck
