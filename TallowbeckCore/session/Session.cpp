#include "TallowbeckCore/session/Session.hpp"

#include <cmath>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/support/ExactDecimal.hpp"
#include "TallowbeckCore/support/JSONNumberText.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {

namespace {

// 2001-01-01T00:00:00Z, the reference date of the platform's encoded timestamps.
constexpr std::int64_t referenceDateSince1970 = 978307200;

double finiteTime(double time, const char* what) {
    if (!std::isfinite(time)) {
        throw std::invalid_argument(std::string(what) + " is not a finite time");
    }
    return time;
}

std::optional<double> finiteTime(std::optional<double> time, const char* what) {
    return time ? std::optional(finiteTime(*time, what)) : std::nullopt;
}

// The time as seconds since 2001, in digits that read back as exactly `secondsSince1970`.
std::string textSince2001(double secondsSince1970) {
    const ExactDecimal usual =
        ExactDecimal::shortest(secondsSince1970 - static_cast<double>(referenceDateSince1970));
    if (usual.plus(referenceDateSince1970).nearestDouble() == secondsSince1970) {
        return usual.text();
    }
    // Before about 1985 the difference as a double has lost digits of the time.
    return ExactDecimal::shortest(secondsSince1970).plus(-referenceDateSince1970).text();
}

// The time that the member `key` of `json`, seconds since 2001, stands for.
double timeSince1970(std::string_view json, std::string_view key) {
    const std::optional<std::string> text = JSONNumberText::ofMember(json, key);
    const std::optional<ExactDecimal> since2001 = text ? ExactDecimal::parse(*text) : std::nullopt;
    const std::optional<double> since1970 =
        since2001 ? since2001->plus(referenceDateSince1970).nearestDouble() : std::nullopt;
    if (!since1970) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, std::string(key),
                            "not a time a double can hold");
    }
    return *since1970;
}

}  // namespace

Session::Session(double startedAt, Duration duration, bool closedLidEnabled,
                 bool allowsDisplaySleep)
    : startedAt_(finiteTime(startedAt, "startedAt")),
      endsAt_(finiteTime(duration.end(), "endsAt")),
      closedLidEnabled_(closedLidEnabled),
      allowsDisplaySleep_(allowsDisplaySleep) {}

void Session::setEndsAt(std::optional<double> endsAt) { endsAt_ = finiteTime(endsAt, "endsAt"); }

std::optional<double> Session::remainingTime(double now) const noexcept {
    if (!endsAt_) {
        return std::nullopt;
    }
    const double remaining = *endsAt_ - now;
    // Written so that NaN also gives 0.
    return remaining >= 0.0 ? remaining : 0.0;
}

bool Session::isExpired(double now) const noexcept { return endsAt_ && now >= *endsAt_; }

void Session::extend(double now, double seconds) {
    double base = endsAt_.value_or(now);
    if (now >= base) {
        base = now;
    }
    setEndsAt(base + seconds);
}

std::string Session::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void Session::writeJSON(JSONWriter& json) const {
    json.beginObject().key("startedAt").numberText(textSince2001(startedAt_));
    if (endsAt_) {
        json.key("endsAt").numberText(textSince2001(*endsAt_));
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
    // The object checks presence and types; the times are read from their digits as written.
    object.requiredNumber("startedAt");
    const bool hasEnd = object.optionalNumber("endsAt").has_value();
    return Session(
        timeSince1970(text, "startedAt"),
        hasEnd ? Duration::until(timeSince1970(text, "endsAt")) : Duration::indefinitely(),
        object.requiredBool("closedLidEnabled"), object.requiredBool("allowsDisplaySleep"));
}

}  // namespace tallowbeck
