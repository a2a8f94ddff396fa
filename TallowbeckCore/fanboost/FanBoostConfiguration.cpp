#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {
namespace {

// NaN fails both comparisons and the infinities lie outside the range.
bool isValidThreshold(double celsius) noexcept {
    return celsius >= FanBoostConfiguration::lowestThresholdCelsius &&
           celsius <= FanBoostConfiguration::highestThresholdCelsius;
}

// JSON numbers cannot hold these, and a threshold written as null would be refused before the
// session could say what is wrong with it; so they travel as words.
constexpr std::array<std::pair<std::string_view, double>, 3> nonFiniteThresholds{{
    {"NaN", std::numeric_limits<double>::quiet_NaN()},
    {"Infinity", std::numeric_limits<double>::infinity()},
    {"-Infinity", -std::numeric_limits<double>::infinity()},
}};

std::string_view nonFiniteWord(double celsius) noexcept {
    if (std::isnan(celsius)) {
        return nonFiniteThresholds[0].first;
    }
    return celsius > 0 ? nonFiniteThresholds[1].first : nonFiniteThresholds[2].first;
}

void writeThreshold(JSONWriter& json, std::string_view key, double celsius) {
    json.key(key);
    if (std::isfinite(celsius)) {
        json.value(celsius);
    } else {
        json.value(nonFiniteWord(celsius));
    }
}

double nonFiniteThreshold(const JSONObject& object, std::string_view key) {
    const std::optional<std::string_view> word = object.optionalString(key);
    for (const auto& [known, celsius] : nonFiniteThresholds) {
        if (word == known) {
            return celsius;
        }
    }
    throw DecodingError(DecodingError::Kind::typeMismatch, std::string(key),
                        "neither a number nor NaN, Infinity or -Infinity");
}

double readThreshold(const JSONObject& object, std::string_view key) {
    try {
        return object.requiredNumber(key);
    } catch (const DecodingError& error) {
        if (error.kind() != DecodingError::Kind::typeMismatch) {
            throw;
        }
    }
    return nonFiniteThreshold(object, key);
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
    writeThreshold(json, "cpuThresholdCelsius", cpuThresholdCelsius);
    writeThreshold(json, "gpuThresholdCelsius", gpuThresholdCelsius);
}

FanBoostConfiguration FanBoostConfiguration::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    return fromJSON(JSONObject::parse(parser, text));
}

FanBoostConfiguration FanBoostConfiguration::fromJSON(const JSONObject& object) {
    const double cpuThresholdCelsius = readThreshold(object, "cpuThresholdCelsius");
    const double gpuThresholdCelsius = readThreshold(object, "gpuThresholdCelsius");
    return {.cpuThresholdCelsius = cpuThresholdCelsius, .gpuThresholdCelsius = gpuThresholdCelsius};
}

}  // namespace tallowbeck
