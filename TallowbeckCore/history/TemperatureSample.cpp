#include "TallowbeckCore/history/TemperatureSample.hpp"

#include "TallowbeckCore/support/DecodingError.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/support/OnDemandJSONObject.hpp"

namespace tallowbeck {

namespace {

using Kind = DecodingError::Kind;

UUID decodeID(const auto& object) {
    const std::string_view text = object.requiredString("id");
    const std::optional<UUID> id = UUID::fromText(text);
    if (!id) {
        throw DecodingError(Kind::dataCorrupted, "id", "not a UUID");
    }
    return *id;
}

double decodeRecordedAt(const auto& object) {
    const std::optional<double> seconds =
        InternetDateTime::secondsSince1970(object.requiredString("recordedAt"));
    if (!seconds) {
        throw DecodingError(Kind::dataCorrupted, "recordedAt", "not an ISO 8601 date-time");
    }
    return *seconds;
}

SystemThermalState decodeThermalState(const auto& object) {
    const std::optional<SystemThermalState> state =
        systemThermalStateFromText(object.requiredString("thermalState"));
    if (!state) {
        throw DecodingError(Kind::dataCorrupted, "thermalState", "not a thermal state");
    }
    return *state;
}

// Either kind of parsed object; both read alike.
TemperatureSample decoded(const auto& object) {
    // One member after the other, so that the error names the first bad member whatever order
    // the compiler evaluates arguments in.
    const UUID id = decodeID(object);
    const double recordedAt = decodeRecordedAt(object);
    const std::optional<double> batteryCelsius = object.optionalNumber("batteryCelsius");
    const std::optional<double> cpuCelsius = object.optionalNumber("cpuCelsius");
    const std::optional<double> gpuCelsius = object.optionalNumber("gpuCelsius");
    const SystemThermalState thermalState = decodeThermalState(object);
    const bool sessionActive = object.requiredBool("sessionActive");
    const bool lidClosed = object.optionalBool("lidClosed").value_or(false);
    return TemperatureSample(id, recordedAt, batteryCelsius, cpuCelsius, gpuCelsius, thermalState,
                             sessionActive, lidClosed);
}

}  // namespace

std::string TemperatureSample::json() const {
    JSONWriter json;
    writeJSON(json);
    return json.text();
}

void TemperatureSample::writeJSON(JSONWriter& json) const {
    json.beginObject()
        .key("id")
        .value(id_.text())
        .key("recordedAt")
        .value(InternetDateTime::text(recordedAt_))
        .optionalMember("batteryCelsius", batteryCelsius_)
        .optionalMember("cpuCelsius", cpuCelsius_)
        .optionalMember("gpuCelsius", gpuCelsius_)
        .key("thermalState")
        .value(textValue(thermalState_))
        .key("sessionActive")
        .value(sessionActive_)
        .key("lidClosed")
        .value(lidClosed_)
        .endObject();
}

TemperatureSample TemperatureSample::asWritten() const noexcept {
    TemperatureSample written = *this;
    written.recordedAt_ = InternetDateTime::asWritten(recordedAt_);
    return written;
}

TemperatureSample TemperatureSample::fromJSON(std::string_view text) {
    simdjson::dom::parser parser;
    return fromJSON(JSONObject::parse(parser, text));
}

TemperatureSample TemperatureSample::fromJSON(const JSONObject& object) { return decoded(object); }

TemperatureSample TemperatureSample::fromJSON(const OnDemandJSONObject& object) {
    return decoded(object);
}

}  // namespace tallowbeck
