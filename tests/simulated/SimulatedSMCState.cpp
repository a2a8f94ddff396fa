#include "tests/simulated/SimulatedSMCState.hpp"

#include <algorithm>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/temperature/SMCChipTemperatureSensor.hpp"
#include "tests/testing/FileContents.hpp"

namespace tallowbeck::testing {
namespace {

constexpr double idleRPM = 1200.0;

void writeFan(JSONWriter& json, const SimulatedSMCState::Fan& fan) {
    json.beginObject()
        .key("actualRPM")
        .value(fan.actualRPM)
        .key("minimumRPM")
        .value(fan.minimumRPM)
        .key("maximumRPM")
        .value(fan.maximumRPM)
        .key("targetRPM")
        .value(fan.targetRPM)
        .key("automaticTargetRPM")
        .value(fan.automaticTargetRPM)
        .key("forced")
        .value(fan.forced)
        .key("forcedByAnotherController")
        .value(fan.forcedByAnotherController)
        .endObject();
}

SimulatedSMCState::Fan readFan(const JSONObject& object) {
    SimulatedSMCState::Fan fan;
    fan.actualRPM = object.requiredNumber("actualRPM");
    fan.minimumRPM = object.requiredNumber("minimumRPM");
    fan.maximumRPM = object.requiredNumber("maximumRPM");
    fan.targetRPM = object.requiredNumber("targetRPM");
    fan.automaticTargetRPM = object.requiredNumber("automaticTargetRPM");
    fan.forced = object.requiredBool("forced");
    fan.forcedByAnotherController = object.requiredBool("forcedByAnotherController");
    return fan;
}

// JSON has no NaN, which the writer writes as null; null reads back as NaN.
float readCelsius(const JSONObject& object) {
    return static_cast<float>(
        object.optionalNumber("celsius").value_or(std::numeric_limits<double>::quiet_NaN()));
}

}  // namespace

SimulatedSMCState SimulatedSMCState::twoFanMacBookPro(float celsius) {
    SimulatedSMCState state;
    state.fans = {Fan{.actualRPM = 0.0, .minimumRPM = idleRPM, .maximumRPM = 5779.0},
                  Fan{.actualRPM = 0.0, .minimumRPM = idleRPM, .maximumRPM = 6241.0}};
    for (const std::string_view key : SMCChipTemperatureSensor::chipSensorCPUKeys) {
        state.temperatures[std::string(key)] = celsius;
    }
    for (const std::string_view key : SMCChipTemperatureSensor::chipSensorGPUKeys) {
        state.temperatures[std::string(key)] = celsius;
    }
    return state;
}

void SimulatedSMCState::forceFansToMaximum() {
    for (Fan& fan : fans) {
        fan.forced = true;
        fan.targetRPM = fan.maximumRPM;
    }
}

bool SimulatedSMCState::anyFanForced() const {
    return std::ranges::any_of(fans, [](const Fan& fan) { return fan.forced; });
}

std::string SimulatedSMCState::json() const {
    JSONWriter json;
    json.beginObject().key("fans").beginArray();
    for (const Fan& fan : fans) {
        writeFan(json, fan);
    }
    json.endArray().key("reportedFanCount").value(std::uint64_t{reportedFanCount});
    json.key("temperatures").beginArray();
    for (const auto& [key, celsius] : temperatures) {
        json.beginObject().key("key").value(key).key("celsius").value(double{celsius}).endObject();
    }
    json.endArray().key("keyInfoOverrides").beginArray();
    for (const auto& [key, info] : keyInfoOverrides) {
        json.beginObject()
            .key("key")
            .value(key)
            .key("type")
            .value(info.type)
            .key("size")
            .value(std::uint64_t{info.size})
            .endObject();
    }
    json.endArray()
        .key("rampRPMPerSecond")
        .value(rampRPMPerSecond)
        .key("clock")
        .value(clock)
        .endObject();
    return json.text();
}

SimulatedSMCState SimulatedSMCState::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    const JSONObject object = JSONObject::parse(parser, text);
    SimulatedSMCState state;
    for (const simdjson::dom::element element : object.requiredArray("fans")) {
        state.fans.push_back(readFan(JSONObject::from(element, "a fan")));
    }
    state.reportedFanCount = static_cast<std::uint32_t>(object.requiredInteger("reportedFanCount"));
    for (const simdjson::dom::element element : object.requiredArray("temperatures")) {
        const JSONObject temperature = JSONObject::from(element, "a temperature");
        const std::string key(temperature.requiredString("key"));
        state.temperatures[key] = readCelsius(temperature);
    }
    for (const simdjson::dom::element element : object.requiredArray("keyInfoOverrides")) {
        const JSONObject override = JSONObject::from(element, "a key info");
        const std::string key(override.requiredString("key"));
        state.keyInfoOverrides[key] = {
            .type = std::string(override.requiredString("type")),
            .size = static_cast<std::uint32_t>(override.requiredInteger("size"))};
    }
    state.rampRPMPerSecond = object.requiredNumber("rampRPMPerSecond");
    state.clock = object.requiredNumber("clock");
    return state;
}

// Through a file beside it, so that another process never reads half a state.
void SimulatedSMCState::save(const std::filesystem::path& file) const {
    const std::string text = json();
    std::filesystem::path written = file;
    written += ".new";
    std::ofstream out(written, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + file.string());
    }
    std::filesystem::rename(written, file);
}

SimulatedSMCState SimulatedSMCState::load(const std::filesystem::path& file) {
    return fromJSON(contentsOf(file));
}

}  // namespace tallowbeck::testing
