#pragma once

#include <functional>
#include <string_view>

namespace tallowbeck {

// The remote interface the fan helper exports to its client: begin:reply:, heartbeatWithReply:
// and stopWithReply:. Arguments and replies are byte buffers; every reply holds a FanBoostStatus
// in its JSON form. Each operation calls its reply exactly once and throws nothing of its own (what
// the reply throws reaches the caller); a buffer that is not what the operation needs gets a
// status whose "error" says so.
class FanBoostHelperProtocol {
public:
    // Receives the reply's bytes, which live only for the call.
    using Reply = std::function<void(std::string_view status)>;

    virtual ~FanBoostHelperProtocol() = default;

    // `configuration` holds a FanBoostConfiguration in its JSON form.
    virtual void begin(std::string_view configuration, const Reply& reply) = 0;
    virtual void heartbeat(const Reply& reply) = 0;
    virtual void stop(const Reply& reply) = 0;
};

}  // namespace tallowbeck
