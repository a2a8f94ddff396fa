#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "TallowbeckCore/history/CachedHistory.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/platform/UserDirectories.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/FileStamp.hpp"

namespace tallowbeck {

// The temperature history on disk, shared safely between processes: a snapshot, a journal of
// the changes since it and a lock file, all beside each other. Every operation holds an
// exclusive lock on the lock file for its whole duration. What was read is cached and read again
// only when another process (or another store on the same files) has changed them.
//
// Operations of one store must not overlap; the store is not thread-safe. Errors:
// HistoryDecodingError and CorruptJournalEntryError for a history that cannot be read (it is left
// as it is; only reset() recovers from it), std::system_error (generic category) when a file
// cannot be created, locked, written or flushed. After an error while the lock is held the next
// operation reads everything again; one that stops the lock from being taken changes nothing.
class TemperatureHistoryStore {
public:
    // Keeps the history in `fileURL`. Without one it first adopts a history left behind by an
    // earlier application when there is none yet, then uses `defaultFileURL`. Never fails, and
    // touches no file apart from that adoption.
    explicit TemperatureHistoryStore(
        std::optional<std::filesystem::path> fileURL = std::nullopt,
        FileCalls& calls = FileCalls::system(),
        const UserDirectories& directories = UserDirectories::system());

    // "temperature-history.json" in "com.tallowbeck.Ordwell" below the user's application
    // support directory, or below the temporary directory when there is none.
    static std::filesystem::path defaultFileURL(const UserDirectories& directories);

    const std::filesystem::path& fileURL() const noexcept { return files_.snapshot; }

    // The whole history: the snapshot's samples that no later cutoff dropped, then the journal's
    // in the order written. The view stays valid until the store's next operation.
    std::span<const TemperatureSample> samples();

    // Adds `sample` unless a kept sample has its id, after dropping every sample recorded before
    // the local calendar date `retentionDays` days before `now` (at least one day). Returns the
    // history afterwards, valid until the store's next operation.
    std::span<const TemperatureSample> append(const TemperatureSample& sample,
                                              std::int64_t retentionDays, double now);

    // Clears the history for every process. Succeeds on a history that cannot be read.
    void reset();

private:
    using Revision = std::array<std::optional<FileStamp>, 2>;

    // Runs `body` holding the lock, after dropping a cache that the files no longer match.
    template <typename Body>
    void locked(Body&& body);
    void forgetCache() noexcept;
    Revision currentRevision() const;

    void read();
    void compact();
    FileDescriptor openJournalForWriting();
    void appendToJournal(const std::string& line);

    HistoryFiles files_;
    FileCalls* calls_;
    std::optional<Revision> revision_;
    std::optional<CachedHistory> cachedSamples_;
    std::int64_t journalCount_ = 0;
    std::uint64_t journalLength_ = 0;
};

}  // namespace tallowbeck
