#include "TallowbeckCore/fanboost/FanSpeed.hpp"

#include <cmath>

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {
namespace {

constexpr double highestReadableRPM = 20000.0;
constexpr double lowestMinimumRPM = 500.0;
constexpr double highestMaximumRPM = 10000.0;
constexpr double maximumToleranceRPM = 1.0;

// NaN fails both comparisons and the infinities lie outside the range.
bool isReadableSpeed(double rpm) noexcept { return rpm >= 0.0 && rpm <= highestReadableRPM; }

}  // namespace

bool FanSpeed::isPlausible() const noexcept {
    const bool readable = isReadableSpeed(actualRPM) && isReadableSpeed(minimumRPM) &&
                          isReadableSpeed(maximumRPM) && isReadableSpeed(targetRPM);
    return (id == 0 || id == 1) && readable && minimumRPM >= lowestMinimumRPM &&
           minimumRPM < maximumRPM && maximumRPM <= highestMaximumRPM && targetRPM <= maximumRPM &&
           (!manual || minimumRPM <= targetRPM);
}

bool FanSpeed::holdsMaximum() const noexcept {
    return manual && std::abs(targetRPM - maximumRPM) < maximumToleranceRPM;
}

std::string FanSpeed::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void FanSpeed::writeJSON(JSONWriter& json) const {
    json.beginObject()
        .key("id")
        .value(id)
        .key("actualRPM")
        .value(actualRPM)
        .key("minimumRPM")
        .value(minimumRPM)
        .key("maximumRPM")
        .value(maximumRPM)
        .key("targetRPM")
        .value(targetRPM)
        .key("manual")
        .value(manual)
        .endObject();
}

FanSpeed FanSpeed::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    return fromJSON(JSONObject::parse(parser, text));
}

FanSpeed FanSpeed::fromJSON(const JSONObject& object) {
    FanSpeed fan;
    fan.id = object.requiredInteger("id");
    fan.actualRPM = object.requiredNumber("actualRPM");
    fan.minimumRPM = object.requiredNumber("minimumRPM");
    fan.maximumRPM = object.requiredNumber("maximumRPM");
    fan.targetRPM = object.requiredNumber("targetRPM");
    fan.manual = object.requiredBool("manual");
    return fan;
}

}  // namespace tallowbeck
