#pragma once

#include <optional>
#include <string>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

class JSONObject;

// One line of the history's journal. Only two shapes are valid: a sample entry (a sample and a
// cutoff before which older samples are dropped) and a reset entry (reset true, nothing else).
struct JournalEntry {
    std::optional<TemperatureSample> sample;
    // Seconds since 1970-01-01 UTC, written in whole seconds.
    std::optional<double> cutoff;
    std::optional<bool> reset;

    static JournalEntry sampleEntry(const TemperatureSample& sample, double cutoff);
    static JournalEntry resetEntry();

    bool isSampleEntry() const noexcept;
    bool isResetEntry() const noexcept;

    // The compact JSON object followed by one line feed; absent fields have no key. Throws
    // std::out_of_range for a time that cannot be written as a date.
    std::string line() const;
    // Any combination of the fields; throws DecodingError.
    static JournalEntry fromJSON(const JSONObject& object);

    friend bool operator==(const JournalEntry&, const JournalEntry&) = default;
};

}  // namespace tallowbeck
