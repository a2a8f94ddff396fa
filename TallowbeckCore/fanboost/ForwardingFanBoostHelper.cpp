#include "TallowbeckCore/fanboost/ForwardingFanBoostHelper.hpp"

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"

namespace tallowbeck {
namespace {

// The status `operation` gives, as JSON; a refusal when it fails in a way the session does not
// handle itself, so that nothing escapes to the connection.
template <typename Operation>
std::string answered(Operation&& operation) {
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::exception&) {
        return ForwardingFanBoostHelper::refusal(ForwardingFanBoostHelper::failedRequestMessage);
    }
}

std::optional<FanBoostConfiguration> decoded(std::string_view configuration) {
    try {
        return FanBoostConfiguration::fromJSON(configuration);
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

}  // namespace

ForwardingFanBoostHelper::ForwardingFanBoostHelper(FanBoostSession& session, const UUID& owner,
                                                   std::function<double()> uptime)
    : session_(session), owner_(owner), uptime_(std::move(uptime)) {}

std::string ForwardingFanBoostHelper::refusal(std::string_view message) {
    FanBoostStatus status;
    status.error = std::string(message);
    return status.json();
}

void ForwardingFanBoostHelper::begin(std::string_view configuration, const Reply& reply) {
    reply(answered([&] {
        const std::optional<FanBoostConfiguration> thresholds = decoded(configuration);
        if (!thresholds) {
            return refusal(invalidConfigurationMessage);
        }
        return session_.begin(*thresholds, owner_, uptime_()).json();
    }));
}

void ForwardingFanBoostHelper::heartbeat(const Reply& reply) {
    reply(answered([&] { return session_.heartbeat(owner_, uptime_()).json(); }));
}

void ForwardingFanBoostHelper::stop(const Reply& reply) {
    reply(answered([&] {
        session_.stop(owner_);
        return session_.status().json();
    }));
}

}  // namespace tallowbeck
