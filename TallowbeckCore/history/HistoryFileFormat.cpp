#include "TallowbeckCore/history/HistoryFileFormat.hpp"

#include <simdjson.h>

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "TallowbeckCore/history/CorruptJournalEntryError.hpp"
#include "TallowbeckCore/history/HistoryDecodingError.hpp"
#include "TallowbeckCore/history/IDKeySet.hpp"
#include "TallowbeckCore/support/JSONObject.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "TallowbeckCore/support/OnDemandJSONObject.hpp"

namespace tallowbeck {

namespace {

JournalEntry decodeLine(simdjson::dom::parser& parser, std::string_view line,
                        std::uint64_t lineNumber) {
    try {
        return JournalEntry::fromJSON(JSONObject::parse(parser, line));
    } catch (const DecodingError& error) {
        throw HistoryDecodingError(error, lineNumber, std::string(line));
    }
}

void checkShapes(std::span<const JournalEntry> entries) {
    const auto invalid = std::ranges::find_if(entries, [](const JournalEntry& entry) {
        return !entry.isSampleEntry() && !entry.isResetEntry();
    });
    if (invalid != entries.end()) {
        throw CorruptJournalEntryError(static_cast<std::uint64_t>(invalid - entries.begin()) + 1);
    }
}

// The bytes as the On-Demand parser needs them: followed by its padding, copied only when the
// string has no room for it.
simdjson::padded_string_view padded(const std::string& bytes,
                                    std::optional<simdjson::padded_string>& copy) {
    if (bytes.capacity() - bytes.size() >= simdjson::SIMDJSON_PADDING) {
        return simdjson::padded_string_view(bytes);
    }
    return copy.emplace(bytes);
}

simdjson::ondemand::array rootArray(simdjson::ondemand::document& document) {
    if (document.type() != simdjson::ondemand::json_type::array) {
        throw DecodingError(DecodingError::Kind::typeMismatch, "", "not a JSON array");
    }
    return document.get_array();
}

// The walk ends with the array: whatever follows it is not part of the document.
void checkNothingFollows(simdjson::ondemand::document& document) {
    if (document.current_location().error() != simdjson::OUT_OF_BOUNDS) {
        throw DecodingError::malformedJSON(simdjson::error_message(simdjson::TRAILING_CONTENT));
    }
}

// The journal's samples that no cutoff written after them drops, in the order written, and the
// latest cutoff of all; nothing before the last reset counts.
struct JournalOutcome {
    std::vector<TemperatureSample> keptSamples;
    double finalCutoff = HistoryFileFormat::distantPast;
    bool reset = false;
};

JournalOutcome walkBackwards(std::span<const JournalEntry> journal) {
    JournalOutcome outcome;
    for (auto entry = journal.rbegin(); entry != journal.rend(); ++entry) {
        if (entry->isResetEntry()) {
            outcome.reset = true;
            break;
        }
        if (entry->sample->recordedAt() >= outcome.finalCutoff) {
            outcome.keptSamples.push_back(*entry->sample);
        }
        outcome.finalCutoff = std::max(outcome.finalCutoff, *entry->cutoff);
    }
    std::ranges::reverse(outcome.keptSamples);
    return outcome;
}

}  // namespace

bool HistoryFileFormat::Journal::containsReset() const noexcept {
    return std::ranges::any_of(entries, &JournalEntry::isResetEntry);
}

HistoryFileFormat::Journal HistoryFileFormat::decodeJournal(std::string_view bytes) {
    Journal journal;
    simdjson::dom::parser parser;
    std::size_t lineStart = 0;
    for (std::size_t lineEnd = bytes.find('\n'); lineEnd != std::string_view::npos;
         lineEnd = bytes.find('\n', lineStart)) {
        journal.entries.push_back(decodeLine(parser, bytes.substr(lineStart, lineEnd - lineStart),
                                             journal.entries.size() + 1));
        lineStart = lineEnd + 1;
    }
    checkShapes(journal.entries);
    journal.validLength = lineStart;
    return journal;
}

// Walked once, front to back, without building the document's tree: the snapshot is by far the
// largest thing a cold read parses.
std::vector<TemperatureSample> HistoryFileFormat::decodeSnapshot(const std::string& bytes,
                                                                 std::size_t samplesToAdd) {
    try {
        simdjson::ondemand::parser parser;
        std::optional<simdjson::padded_string> copy;
        simdjson::ondemand::document document = parser.iterate(padded(bytes, copy));
        simdjson::ondemand::array array = rootArray(document);
        std::vector<TemperatureSample> samples;
        samples.reserve(array.count_elements() + samplesToAdd);
        for (const simdjson::ondemand::value item : array) {
            samples.push_back(
                TemperatureSample::fromJSON(OnDemandJSONObject::from(item, "an item")));
        }
        checkNothingFollows(document);
        return samples;
    } catch (const simdjson::simdjson_error& error) {
        throw HistoryDecodingError(DecodingError::malformedJSON(error.what()));
    } catch (const DecodingError& error) {
        throw HistoryDecodingError(error);
    }
}

std::string HistoryFileFormat::encodeSnapshot(std::span<const TemperatureSample> samples) {
    JSONWriter json;
    json.beginArray();
    for (const TemperatureSample& sample : samples) {
        sample.writeJSON(json);
    }
    return json.endArray().text();
}

std::vector<TemperatureSample> HistoryFileFormat::fold(std::vector<TemperatureSample> snapshot,
                                                       std::span<const JournalEntry> journal) {
    const JournalOutcome outcome = walkBackwards(journal);
    if (outcome.reset) {
        snapshot.clear();
    }
    std::erase_if(snapshot, [&](const TemperatureSample& sample) {
        return sample.recordedAt() < outcome.finalCutoff;
    });

    // Only ids that occur in the journal can repeat, and the journal is the short part.
    IDKeySet journalKeys;
    for (const TemperatureSample& sample : outcome.keptSamples) {
        journalKeys.insert(IDKeySet::keyOf(sample.id()));
    }
    snapshot.reserve(snapshot.size() + outcome.keptSamples.size());
    std::unordered_set<UUID> taken;
    for (const TemperatureSample& sample : snapshot) {
        if (journalKeys.contains(IDKeySet::keyOf(sample.id()))) {
            taken.insert(sample.id());
        }
    }
    for (const TemperatureSample& sample : outcome.keptSamples) {
        if (taken.insert(sample.id()).second) {
            snapshot.push_back(sample);
        }
    }
    return snapshot;
}

}  // namespace tallowbeck
