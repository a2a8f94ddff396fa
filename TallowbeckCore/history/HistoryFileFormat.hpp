#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"

namespace tallowbeck {

// The bytes of the history's files and the history they denote.
class HistoryFileFormat {
public:
    // The most distant past, 0000-01-01T00:00:00Z: where the journal's running cutoff starts, and
    // the cutoff of an append whose own the journal could not hold. The earliest time the files
    // can hold, so no sample in them lies before it.
    static constexpr double distantPast = InternetDateTime::earliest;

    struct Journal {
        std::vector<JournalEntry> entries;
        // Up to and including the last line feed; what follows is a line whose writing was cut
        // short, which counts for nothing and which the next append overwrites.
        std::uint64_t validLength = 0;

        bool containsReset() const noexcept;
    };

    // Every line ended by a line feed is one entry, an empty line included. Throws
    // HistoryDecodingError for a line that does not decode (before looking at any entry's shape),
    // then CorruptJournalEntryError for the first entry of neither valid shape.
    static Journal decodeJournal(std::string_view bytes);

    // One JSON array of samples. Throws HistoryDecodingError. Parsed where it lies, without a
    // copy, when the string's spare capacity holds the parser's padding (SIMDJSON_PADDING bytes).
    // The vector has room for `samplesToAdd` more, so that folding in a journal moves nothing.
    static std::vector<TemperatureSample> decodeSnapshot(const std::string& bytes,
                                                         std::size_t samplesToAdd = 0);
    // Compact, with no line feed at the end. Throws std::out_of_range for a sample whose time
    // cannot be written.
    static std::string encodeSnapshot(std::span<const TemperatureSample> samples);

    // The history: the snapshot's samples that the journal's cutoffs keep, then the journal's
    // samples that cutoffs written after them keep, in the order written; a journal sample whose
    // id is already there is skipped. Entries before the last reset and the snapshot itself count
    // for nothing when there is a reset.
    static std::vector<TemperatureSample> fold(std::vector<TemperatureSample> snapshot,
                                               std::span<const JournalEntry> journal);
};

}  // namespace tallowbeck
