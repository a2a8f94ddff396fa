// Feeds arbitrary bytes to the history reader as a journal and a snapshot (split at the first zero
// byte), the way a reader folds them. Only decoding errors may escape; a journal or a snapshot that
// decodes must read back the same once written again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "TallowbeckCore/history/CorruptJournalEntryError.hpp"
#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"

namespace {

using tallowbeck::HistoryFileFormat;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void checkJournal(std::string_view bytes, const HistoryFileFormat::Journal& journal) {
    require(journal.validLength <= bytes.size());
    require(journal.validLength == 0 || bytes[journal.validLength - 1] == '\n');
    require(bytes.substr(journal.validLength).find('\n') == std::string_view::npos);
    std::string rewritten;
    for (const tallowbeck::JournalEntry& entry : journal.entries) {
        rewritten += entry.line();
    }
    require(HistoryFileFormat::decodeJournal(rewritten).entries == journal.entries);
}

void readHistory(std::string_view journalBytes, const std::string& snapshotBytes) {
    try {
        const HistoryFileFormat::Journal journal = HistoryFileFormat::decodeJournal(journalBytes);
        checkJournal(journalBytes, journal);
        std::vector<tallowbeck::TemperatureSample> snapshot;
        if (!journal.containsReset()) {
            snapshot = HistoryFileFormat::decodeSnapshot(snapshotBytes);
            require(HistoryFileFormat::decodeSnapshot(
                        HistoryFileFormat::encodeSnapshot(snapshot)) == snapshot);
        }
        const std::size_t snapshotSize = snapshot.size();
        const auto history = HistoryFileFormat::fold(std::move(snapshot), journal.entries);
        require(history.size() <= snapshotSize + journal.entries.size());
    } catch (const tallowbeck::DecodingError&) {
    } catch (const tallowbeck::CorruptJournalEntryError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t split = std::min(input.find('\0'), input.size());
    const std::string snapshot(input.substr(std::min(split + 1, input.size())));
    readHistory(input.substr(0, split), snapshot);
    return 0;
}
