#include "TallowbeckCore/history/JournalEntry.hpp"

#include "TallowbeckCore/support/DecodingError.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck {

namespace {

std::optional<double> decodeCutoff(const JSONObject& object) {
    const std::optional<std::string_view> text = object.optionalString("cutoff");
    if (!text) {
        return std::nullopt;
    }
    const std::optional<double> seconds = InternetDateTime::secondsSince1970(*text);
    if (!seconds) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "cutoff",
                            "not an ISO 8601 date-time");
    }
    return seconds;
}

}  // namespace

JournalEntry JournalEntry::sampleEntry(const TemperatureSample& sample, double cutoff) {
    return JournalEntry{.sample = sample, .cutoff = cutoff, .reset = std::nullopt};
}

JournalEntry JournalEntry::resetEntry() {
    return JournalEntry{.sample = std::nullopt, .cutoff = std::nullopt, .reset = true};
}

bool JournalEntry::isSampleEntry() const noexcept { return sample && cutoff && !reset; }

bool JournalEntry::isResetEntry() const noexcept {
    return reset == std::optional<bool>(true) && !sample && !cutoff;
}

std::string JournalEntry::line() const {
    JSONWriter json;
    json.beginObject();
    if (sample) {
        sample->writeJSON(json.key("sample"));
    }
    if (cutoff) {
        json.key("cutoff").value(InternetDateTime::text(*cutoff));
    }
    json.optionalMember("reset", reset).endObject();
    return json.text() + '\n';
}

JournalEntry JournalEntry::fromJSON(const JSONObject& object) {
    std::optional<TemperatureSample> sample;
    if (const std::optional<JSONObject> sampleObject = object.optionalObject("sample")) {
        sample = TemperatureSample::fromJSON(*sampleObject);
    }
    return JournalEntry{
        .sample = sample, .cutoff = decodeCutoff(object), .reset = object.optionalBool("reset")};
}

}  // namespace tallowbeck
