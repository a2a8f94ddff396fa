#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {
namespace {

// NaN fails both comparisons and the infinities lie outside the range.
bool isValidThreshold(double celsius) noexcept {
    return celsius >= FanBoostConfiguration::lowestThresholdCelsius &&
           celsius <= FanBoostConfiguration::highestThresholdCelsius;
}

}  // namespace

bool FanBoostConfiguration::isValid() const noexcept {
    return isValidThreshold(cpuThresholdCelsius) && isValidThreshold(gpuThresholdCelsius);
}

std::string FanBoostConfiguration::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void FanBoostConfiguration::writeJSON(JSONWriter& json) const {
    json.beginObject();
    writeMembers(json);
    json.endObject();
}

void FanBoostConfiguration::writeMembers(JSONWriter& json) const {
    json.key("cpuThresholdCelsius")
        .value(cpuThresholdCelsius)
        .key("gpuThresholdCelsius")
        .value(gpuThresholdCelsius);
}

FanBoostConfiguration FanBoostConfiguration::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    return fromJSON(JSONObject::parse(parser, text));
}

FanBoostConfiguration FanBoostConfiguration::fromJSON(const JSONObject& object) {
    const double cpuThresholdCelsius = object.requiredNumber("cpuThresholdCelsius");
    const double gpuThresholdCelsius = object.requiredNumber("gpuThresholdCelsius");
    return {.cpuThresholdCelsius = cpuThresholdCelsius, .gpuThresholdCelsius = gpuThresholdCelsius};
}

}  // namespace tallowbeck
