#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHelperProtocol.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"

namespace tallowbeck {

// How clients reach the fan boost host: a socket server, the platform's inter-process
// connection, or a script in a test. It tells the host what happened since it last asked; the
// host answers requests through their replies, which the transport may be handed back on the
// host's thread only.
class FanBoostHostTransport {
public:
    using ConnectionID = std::uint64_t;

    struct Event {
        enum class Kind {
            connected,     // a client connected
            request,       // a client asks for `operation`
            disconnected,  // a client's connection closed, for whatever reason
            shutdown,      // the helper is asked to end (a stop signal)
        };

        Kind kind = Kind::shutdown;
        ConnectionID connection = 0;
        FanBoostRequest::Operation operation = FanBoostRequest::Operation::heartbeat;
        // The request's bytes: for begin, the configuration buffer.
        std::string request{};
        // Requests only: to be called exactly once.
        FanBoostHelperProtocol::Reply reply{};
    };

    virtual ~FanBoostHostTransport() = default;

    // Waits until something happens, or `timeoutSeconds` have passed (never when absent), and
    // gives what happened, in order. May also return nothing early.
    virtual std::vector<Event> wait(std::optional<double> timeoutSeconds) = 0;
};

}  // namespace tallowbeck
