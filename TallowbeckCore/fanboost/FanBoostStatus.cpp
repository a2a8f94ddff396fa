#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {

std::string FanBoostStatus::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void FanBoostStatus::writeJSON(JSONWriter& json) const {
    json.beginObject()
        .key("enabled")
        .value(enabled)
        .key("boosting")
        .value(boosting)
        .key("restorationPending")
        .value(restorationPending)
        .key("fans")
        .beginArray();
    for (const FanSpeed& fan : fans) {
        fan.writeJSON(json);
    }
    json.endArray().optionalMember("error", error).endObject();
}

FanBoostStatus FanBoostStatus::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    return fromJSON(JSONObject::parse(parser, text));
}

FanBoostStatus FanBoostStatus::fromJSON(const JSONObject& object) {
    FanBoostStatus status;
    status.enabled = object.requiredBool("enabled");
    status.boosting = object.requiredBool("boosting");
    status.restorationPending = object.requiredBool("restorationPending");
    for (const simdjson::dom::element element : object.requiredArray("fans")) {
        status.fans.push_back(FanSpeed::fromJSON(JSONObject::from(element, "a fan")));
    }
    if (const std::optional<std::string_view> error = object.optionalString("error")) {
        status.error = std::string(*error);
    }
    return status;
}

}  // namespace tallowbeck
