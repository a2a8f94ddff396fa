#include "TallowbeckCore/session/Session.hpp"

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {

namespace {

// 2001-01-01T00:00:00Z, the reference date of the platform's encoded timestamps.
constexpr double referenceDateSince1970 = 978307200.0;

double toReferenceDate(double secondsSince1970) noexcept {
    return secondsSince1970 - referenceDateSince1970;
}

double fromReferenceDate(double secondsSince2001) noexcept {
    return secondsSince2001 + referenceDateSince1970;
}

}  // namespace

std::optional<double> Session::remainingTime(double now) const noexcept {
    if (!endsAt_) {
        return std::nullopt;
    }
    const double remaining = *endsAt_ - now;
    // Written so that NaN also gives 0.
    return remaining >= 0.0 ? remaining : 0.0;
}

bool Session::isExpired(double now) const noexcept { return endsAt_ && now >= *endsAt_; }

void Session::extend(double now, double seconds) noexcept {
    double base = endsAt_.value_or(now);
    if (now >= base) {
        base = now;
    }
    endsAt_ = base + seconds;
}

std::string Session::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void Session::writeJSON(JSONWriter& json) const {
    json.beginObject().key("startedAt").value(toReferenceDate(startedAt_));
    if (endsAt_) {
        json.key("endsAt").value(toReferenceDate(*endsAt_));
    }
    json.key("closedLidEnabled")
        .value(closedLidEnabled_)
        .key("allowsDisplaySleep")
        .value(allowsDisplaySleep_)
        .endObject();
}

Session Session::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    const JSONObject object = JSONObject::parse(parser, text);
    const std::optional<double> endsAt = object.optionalNumber("endsAt");
    return Session(fromReferenceDate(object.requiredNumber("startedAt")),
                   endsAt ? Duration::until(fromReferenceDate(*endsAt)) : Duration::indefinitely(),
                   object.requiredBool("closedLidEnabled"),
                   object.requiredBool("allowsDisplaySleep"));
}

}  // namespace tallowbeck
