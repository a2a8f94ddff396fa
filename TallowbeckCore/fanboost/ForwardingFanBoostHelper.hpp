#pragma once

#include <functional>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostHelperProtocol.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/support/UUID.hpp"
#include "TallowbeckCore/support/Uptime.hpp"

namespace tallowbeck {

// The helper's end of one client's connection: hands each operation to the one fan boost session
// under the connection's own owner identity, with the uptime of `uptime`, and replies with the
// session's status. It runs on the session's serial context, like every other call of the
// session; the session must outlive it.
class ForwardingFanBoostHelper final : public FanBoostHelperProtocol {
public:
    static constexpr std::string_view invalidConfigurationMessage =
        "The fan boost request does not hold a valid configuration.";
    static constexpr std::string_view failedRequestMessage =
        "The fan helper could not carry out the request.";

    ForwardingFanBoostHelper(FanBoostSession& session, const UUID& owner,
                             std::function<double()> uptime = Uptime::now);

    // A configuration that cannot be decoded leaves the session untouched.
    void begin(std::string_view configuration, const Reply& reply) override;
    void heartbeat(const Reply& reply) override;
    // Replies with the session's status after stopping.
    void stop(const Reply& reply) override;

    const UUID& owner() const noexcept { return owner_; }

    // A status that only carries `message`: nothing enabled, nothing pending, no fans.
    static std::string refusal(std::string_view message);

private:
    FanBoostSession& session_;
    UUID owner_;
    std::function<double()> uptime_;
};

}  // namespace tallowbeck
