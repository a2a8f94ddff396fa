#include "TallowbeckCore/fanboost/FanBoostHost.hpp"

#include <utility>

namespace tallowbeck {

using Event = FanBoostHostTransport::Event;

FanBoostHost::FanBoostHost(FanBoostSession& session, FanBoostHostTransport& transport,
                           std::function<double()> uptime, double tickPeriod)
    : session_(session),
      transport_(transport),
      uptime_(std::move(uptime)),
      tickPeriod_(tickPeriod) {}

const FanBoostStatus& FanBoostHost::run() {
    for (;;) {
        const std::optional<double> timeout = tickWhenDue();
        for (Event& event : transport_.wait(timeout)) {
            if (event.kind == Event::Kind::shutdown) {
                shutDown();
                return session_.status();
            }
            handle(event);
        }
    }
}

void FanBoostHost::handle(Event& event) {
    switch (event.kind) {
        case Event::Kind::connected:
            connections_.try_emplace(event.connection, session_, UUID::random(), uptime_);
            return;
        case Event::Kind::request:
            if (const auto connection = connections_.find(event.connection);
                connection != connections_.end()) {
                serve(connection->second, event);
            } else {
                event.reply(ForwardingFanBoostHelper::refusal(unknownConnectionMessage));
            }
            return;
        case Event::Kind::disconnected:
            if (const auto connection = connections_.find(event.connection);
                connection != connections_.end()) {
                session_.stop(connection->second.owner());
                connections_.erase(connection);
            }
            return;
        case Event::Kind::shutdown:
            return;
    }
}

void FanBoostHost::serve(ForwardingFanBoostHelper& helper, const Event& event) {
    switch (event.operation) {
        case FanBoostRequest::Operation::begin:
            helper.begin(event.request, event.reply);
            return;
        case FanBoostRequest::Operation::heartbeat:
            helper.heartbeat(event.reply);
            return;
        case FanBoostRequest::Operation::stop:
            helper.stop(event.reply);
            return;
    }
}

std::optional<double> FanBoostHost::tickWhenDue() {
    const double now = uptime_();
    if (nextTick_ && now >= *nextTick_ && session_.needsTick()) {
        session_.tick(now);
        // A late tick, after the process was held up, is not followed by a burst of them.
        *nextTick_ += tickPeriod_;
        if (*nextTick_ <= now) {
            nextTick_ = now + tickPeriod_;
        }
    }
    if (!session_.needsTick()) {
        nextTick_.reset();
        return std::nullopt;
    }
    if (!nextTick_) {
        nextTick_ = now + tickPeriod_;
    }
    return *nextTick_ - now;
}

void FanBoostHost::shutDown() {
    for (const auto& [connection, helper] : connections_) {
        session_.stop(helper.owner());
    }
    // A restoration that failed, now or before, gets one more try before the helper goes.
    if (session_.status().restorationPending) {
        session_.tick(uptime_());
    }
}

}  // namespace tallowbeck
