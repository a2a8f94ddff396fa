#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "TallowbeckCore/fanboost/FanBoostHostTransport.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/fanboost/ForwardingFanBoostHelper.hpp"
#include "TallowbeckCore/support/Uptime.hpp"

namespace tallowbeck {

// The fan helper's serial context: one loop on the calling thread that takes the transport's
// events one at a time, gives every connection its own owner identity, forwards requests to the
// session, and ticks the session every `tickPeriod` seconds while it needs ticks, and not at all
// otherwise: an idle helper sleeps until a client comes. A closed connection stops its owner's
// boost, as a stop request would.
class FanBoostHost {
public:
    // Often enough for the 10-second freshness of the readings and the 15-second lease.
    static constexpr double defaultTickPeriod = 1.0;
    // The refusal of a request on a connection the host was never told of: every request gets
    // one reply, and such a stranger gets no say over the session.
    static constexpr std::string_view unknownConnectionMessage =
        "The fan helper does not know this connection.";

    // The session and the transport must outlive the host.
    FanBoostHost(FanBoostSession& session, FanBoostHostTransport& transport,
                 std::function<double()> uptime = Uptime::now,
                 double tickPeriod = defaultTickPeriod);

    // Serves until the transport asks for a shutdown, then ends any boost, settles, and gives
    // the session's status as it then stands (restorationPending when the fans could not be
    // handed back).
    const FanBoostStatus& run();

private:
    void handle(FanBoostHostTransport::Event& event);
    void serve(ForwardingFanBoostHelper& helper, const FanBoostHostTransport::Event& event);
    // Ticks when a tick is due; gives the time until the next one, or nothing while none is
    // needed.
    std::optional<double> tickWhenDue();
    void shutDown();

    FanBoostSession& session_;
    FanBoostHostTransport& transport_;
    std::function<double()> uptime_;
    double tickPeriod_;
    std::optional<double> nextTick_;
    std::unordered_map<FanBoostHostTransport::ConnectionID, ForwardingFanBoostHelper> connections_;
};

}  // namespace tallowbeck
