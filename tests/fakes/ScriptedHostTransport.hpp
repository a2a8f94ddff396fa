#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHostTransport.hpp"

namespace tallowbeck::testing {

// Clients of the fan boost host in virtual time: a wait moves the uptime on to its timeout, or to
// the first scripted event before it, and delivers every event due then. Nothing ever sleeps.
// Each connection's replies are kept in order.
class ScriptedHostTransport final : public FanBoostHostTransport {
public:
    using Operation = FanBoostRequest::Operation;

    double now = 0.0;                             // uptime, in seconds
    std::vector<std::optional<double>> timeouts;  // every wait's
    std::map<ConnectionID, std::vector<std::string>> replies;

    // Reads `now`; the transport must outlive the function.
    std::function<double()> uptime() {
        return [this] { return now; };
    }

    void connect(double time, ConnectionID connection) {
        at(time, {.kind = Event::Kind::connected, .connection = connection});
    }
    void request(double time, ConnectionID connection, Operation operation,
                 std::string bytes = {}) {
        at(time, {.kind = Event::Kind::request,
                  .connection = connection,
                  .operation = operation,
                  .request = std::move(bytes),
                  .reply = [this, connection](std::string_view status) {
                      replies[connection].emplace_back(status);
                  }});
    }
    void disconnect(double time, ConnectionID connection) {
        at(time, {.kind = Event::Kind::disconnected, .connection = connection});
    }
    void shutdown(double time) { at(time, {.kind = Event::Kind::shutdown}); }
    // Runs `action` when the uptime reaches `time`, before that moment's events are delivered.
    void perform(double time, std::function<void()> action) {
        actions_.emplace(time, std::move(action));
    }

    std::vector<Event> wait(std::optional<double> timeoutSeconds) override {
        timeouts.push_back(timeoutSeconds);
        // A host that stops moving forward would never end the test.
        if (timeouts.size() > 100'000) {
            throw std::logic_error("the host waits without end");
        }
        const std::optional<double> next = nextMoment();
        if (!next) {
            throw std::logic_error("the host waits after the script's end");
        }
        if (timeoutSeconds && now + *timeoutSeconds < *next) {
            now += *timeoutSeconds;
            return {};
        }
        now = std::max(now, *next);
        for (auto action = actions_.begin(); action != actions_.end() && action->first <= now;) {
            action->second();
            action = actions_.erase(action);
        }
        std::vector<Event> due;
        for (auto event = events_.begin(); event != events_.end() && event->first <= now;) {
            due.push_back(std::move(event->second));
            event = events_.erase(event);
        }
        return due;
    }

private:
    void at(double time, Event event) { events_.emplace(time, std::move(event)); }

    std::optional<double> nextMoment() const {
        std::optional<double> next;
        if (!events_.empty()) {
            next = events_.begin()->first;
        }
        if (!actions_.empty() && (!next || actions_.begin()->first < *next)) {
            next = actions_.begin()->first;
        }
        return next;
    }

    std::multimap<double, Event> events_;
    std::multimap<double, std::function<void()>> actions_;
};

}  // namespace tallowbeck::testing
