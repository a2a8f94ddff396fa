#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "TallowbeckCore/history/CachedHistory.hpp"
#include "TallowbeckCore/history/HistoryFiles.hpp"
#include "TallowbeckCore/history/HistorySamples.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/platform/UserDirectories.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/FileStamp.hpp"
#include "TallowbeckCore/posix/OwnedFile.hpp"

namespace tallowbeck {

// The temperature history on disk, shared safely between processes: a snapshot, a journal of
// the changes since it and a lock file, all beside each other. Every operation holds an
// exclusive lock on the lock file for its whole duration. What was read is cached and read again
// only when another process (or another store on the same files) has changed them.
//
// Each file is opened as itself, never through a symbolic link, and must be a regular file
// owned by the store's user: a folder that others may write to cannot steer the store into
// another file. The snapshot and journal are private to the user (mode 0600), and so is the lock
// file: whoever may open it may take the lock and hold up every operation, so one of the user's
// own found with another mode is set to 0600. Missing folders of the history are created only in
// a folder of the user's own or of the superuser: a folder made in another user's, as by the
// superuser handed that user's home (sudo -E), could be neither used nor removed by them.
//
// Operations of one store must not overlap; the store is not thread-safe, but what it returns
// may be read on any thread. Errors: HistoryDecodingError and CorruptJournalEntryError for a
// history that cannot be read (it is left as it is; only reset() recovers from it),
// std::system_error (generic category) when a file cannot be created, locked, written or
// flushed, or is refused (ELOOP for a symbolic link, EPERM for a file of another kind or
// user), ForeignFolderError (a std::system_error, EPERM) for a folder that would have to be
// created in another user's folder. After an error while the lock is held the next operation reads
// everything again; one that stops the lock from being taken changes nothing.
class TemperatureHistoryStore {
public:
    // Keeps the history in `fileURL`. Without one it uses `defaultFileURL`, after adopting a
    // history left behind by an earlier application when there is none yet. Files count as the
    // store's own when `user` owns them. Never fails, and touches no file apart from that
    // adoption.
    explicit TemperatureHistoryStore(std::optional<std::filesystem::path> fileURL = std::nullopt,
                                     FileCalls& calls = FileCalls::system(),
                                     const UserDirectories& directories = UserDirectories::system(),
                                     uid_t user = ::geteuid());

    // "temperature-history.json" in "com.tallowbeck.Ordwell" below the user's application
    // support directory. When the system names none, below "com.tallowbeck-<user>" in the
    // temporary directory instead: a folder of the user's own (mode 0700), since others may
    // write to the temporary directory. The store refuses that folder when it is not a
    // directory of the user's own that only the user may write to.
    static std::filesystem::path defaultFileURL(const UserDirectories& directories,
                                                uid_t user = ::geteuid());

    const std::filesystem::path& fileURL() const noexcept { return files_.snapshot; }

    // The whole history: the snapshot's samples that no later cutoff dropped, then the journal's
    // in the order written.
    HistorySamples samples();

    // Adds `sample` unless a kept sample has its id, after dropping every sample recorded before
    // the local calendar date `retentionDays` days before `now` (at least one day; the most
    // distant past when that date lies outside the years 0000 to 9999). Returns the history
    // afterwards, exactly as the files give it back: the new sample recorded at the whole
    // second, as written.
    HistorySamples append(const TemperatureSample& sample, std::int64_t retentionDays, double now);

    // Clears the history for every process. Succeeds on a history that cannot be read.
    void reset();

private:
    using Revision = std::array<std::optional<FileStamp>, 2>;
    class HeldLock;

    // Runs `body` holding the lock, after dropping a cache that the files no longer match.
    template <typename Body>
    void locked(Body&& body);
    HeldLock lock();
    void forgetCache() noexcept;
    Revision currentRevision() const;
    bool exists(const std::filesystem::path& path) const;

    void adoptLegacyHistory(const std::filesystem::path& supportFolder);
    void read();
    void compact();
    OwnedFile openJournalForWriting();
    void appendToJournal(const std::string& line);

    HistoryFiles files_;
    FileCalls* calls_;
    uid_t user_;
    // The folder of the user's own that the default history lies in when the temporary
    // directory holds it.
    std::optional<std::filesystem::path> privateFolder_;
    std::optional<Revision> revision_;
    std::optional<CachedHistory> cachedSamples_;
    std::int64_t journalCount_ = 0;
    std::uint64_t journalLength_ = 0;
};

}  // namespace tallowbeck
