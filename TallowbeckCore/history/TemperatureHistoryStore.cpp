#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"

#include <fcntl.h>
#include <simdjson.h>
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/FileOwnership.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/LocalCalendar.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

constexpr std::string_view folderName = "com.tallowbeck.Ordwell";
constexpr std::string_view fileName = "temperature-history.json";
constexpr std::array<std::string_view, 2> legacyFolderNames = {"com.tallowbeck.Brindlecove",
                                                               "com.tallowbeck.Tallowbeck"};
constexpr std::string_view privateFolderPrefix = "com.tallowbeck-";
constexpr std::int64_t journalEntriesBeforeCompaction = 1440;
constexpr mode_t lockFileMode = 0600;
constexpr mode_t dataFileMode = 0600;
constexpr mode_t directoryMode = 0700;

// The folder that the histories lie below, the current one and the older ones alike.
struct SupportFolder {
    std::filesystem::path path;
    // The user's own folder in the temporary directory, to be made and checked before use;
    // nothing below application support.
    std::optional<std::filesystem::path> privateFolder;
};

SupportFolder supportFolder(const UserDirectories& directories, uid_t user) {
    if (std::optional<std::filesystem::path> support = directories.applicationSupport()) {
        return SupportFolder{.path = std::move(*support), .privateFolder = std::nullopt};
    }
    std::filesystem::path folder =
        directories.temporary() / (std::string(privateFolderPrefix) + std::to_string(user));
    return SupportFolder{.path = folder, .privateFolder = folder};
}

std::filesystem::path absolutePath(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute;
}

// The cutoff as the journal holds it: in whole seconds, and the most distant past when the
// calendar gives no date that the journal could hold.
double retentionCutoff(double now, std::int64_t retentionDays) {
    const std::optional<double> cutoff =
        LocalCalendar::addingDays(now, -std::max<std::int64_t>(retentionDays, 1));
    return cutoff && InternetDateTime::canWrite(*cutoff) ? InternetDateTime::asWritten(*cutoff)
                                                         : HistoryFileFormat::distantPast;
}

// The file's bytes, or nothing when it does not exist.
std::optional<std::string> readWholeFile(FileCalls& calls, const std::filesystem::path& path,
                                         uid_t user) {
    const std::optional<OwnedFile> file =
        OwnedFile::openIfExists(calls, path, O_RDONLY | O_CLOEXEC, user);
    if (!file) {
        return std::nullopt;
    }
    // Room for the JSON parser's padding spares it a copy of the whole file.
    return PosixFile::readAll(calls, file->descriptor.get(), path.string(),
                              simdjson::SIMDJSON_PADDING);
}

// A line that did not reach the disk must not be read back as if it had. Should even cutting
// it off fail, the caller learns that the journal may still hold it.
void takeBackUnacknowledgedLine(FileCalls& calls, int journal, off_t validLength,
                                const std::system_error& failure) {
    if (retryingInterrupted([&] { return calls.ftruncate(journal, validLength); }) != 0) {
        throw std::system_error(
            failure.code(),
            std::string(failure.what()) + ", and the unfinished line could not be removed");
    }
}

// Opens the lock file, creating it and the folders above it when missing. The folders are made
// only then: making them every time would cost every operation a call.
OwnedFile openOrCreateLockFile(FileCalls& calls, const HistoryFiles& files, uid_t user) {
    const auto open = [&] {
        return OwnedFile::open(calls, files.lock, O_RDWR | O_CREAT | O_CLOEXEC, lockFileMode, user);
    };
    try {
        return open();
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            throw;
        }
    }
    PosixFile::createDirectories(calls, files.snapshot.parent_path(), directoryMode, user);
    return open();
}

// Whoever may open the lock file may also take the lock and hold up every operation for as long
// as they like: a lock file of the user's own is made theirs alone before it is used. Checked
// first, one of anyone else's is refused as it is.
FileDescriptor openLockFile(FileCalls& calls, const HistoryFiles& files, uid_t user) {
    OwnedFile lock = openOrCreateLockFile(calls, files, user);
    if (lock.attributes.permissions != lockFileMode &&
        retryingInterrupted([&] { return calls.fchmod(lock.descriptor.get(), lockFileMode); }) !=
            0) {
        throwLastError("cannot make " + files.lock.string() + " private");
    }
    return std::move(lock.descriptor);
}

}  // namespace

// The exclusive lock on the lock file for one operation; released and closed when it goes.
class TemperatureHistoryStore::HeldLock {
public:
    HeldLock(FileCalls& calls, const HistoryFiles& files, uid_t user)
        : calls_(calls), file_(openLockFile(calls, files, user)) {
        if (retryingInterrupted([&] { return calls_.flock(file_.get(), LOCK_EX); }) != 0) {
            throwLastError("cannot lock " + files.lock.string());
        }
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    // Closing alone would release the lock too; unlocking first says so.
    ~HeldLock() {
        retryingInterrupted([this] { return calls_.flock(file_.get(), LOCK_UN); });
    }

private:
    FileCalls& calls_;
    FileDescriptor file_;
};

TemperatureHistoryStore::TemperatureHistoryStore(std::optional<std::filesystem::path> fileURL,
                                                 FileCalls& calls,
                                                 const UserDirectories& directories, uid_t user)
    : calls_(&calls), user_(user) {
    if (fileURL) {
        files_ = HistoryFiles::beside(absolutePath(*fileURL));
        return;
    }
    const SupportFolder support = supportFolder(directories, user);
    files_ = HistoryFiles::beside(support.path / folderName / fileName);
    privateFolder_ = support.privateFolder;
    adoptLegacyHistory(support.path);
}

std::filesystem::path TemperatureHistoryStore::defaultFileURL(const UserDirectories& directories,
                                                              uid_t user) {
    return supportFolder(directories, user).path / folderName / fileName;
}

HistorySamples TemperatureHistoryStore::samples() {
    locked([this] { read(); });
    return cachedSamples_->samples();
}

HistorySamples TemperatureHistoryStore::append(const TemperatureSample& sample,
                                               std::int64_t retentionDays, double now) {
    locked([&] {
        const double cutoff = retentionCutoff(now, retentionDays);
        // Kept as the journal gives it back, so that this history equals a fresh read's.
        const TemperatureSample added = sample.asWritten();
        // Encoded first: a sample that cannot be written changes nothing.
        const std::string line = JournalEntry::sampleEntry(added, cutoff).line();
        read();
        if (journalCount_ >= journalEntriesBeforeCompaction) {
            compact();
        }
        cachedSamples_->removeRecordedBefore(cutoff);
        // A duplicate still goes to the journal; readers skip it there.
        if (!cachedSamples_->containsID(added.id())) {
            cachedSamples_->append(added);
        }
        appendToJournal(line);
    });
    return cachedSamples_->samples();
}

void TemperatureHistoryStore::reset() {
    locked([this] {
        // Replacing the journal alone is enough: a reset entry voids the snapshot for every
        // reader, and the next compaction removes both.
        const std::string line = JournalEntry::resetEntry().line();
        AtomicFile::replace(*calls_, files_.journal, line, dataFileMode);
        journalCount_ = 1;
        journalLength_ = line.size();
        cachedSamples_.emplace(std::vector<TemperatureSample>{});
    });
}

template <typename Body>
void TemperatureHistoryStore::locked(Body&& body) {
    const HeldLock held = lock();
    if (!revision_ || currentRevision() != *revision_) {
        forgetCache();
    }
    try {
        body();
        revision_ = currentRevision();
    } catch (...) {
        cachedSamples_.reset();
        revision_.reset();
        throw;
    }
}

TemperatureHistoryStore::HeldLock TemperatureHistoryStore::lock() {
    if (privateFolder_) {
        FileOwnership::makePrivateDirectory(*calls_, *privateFolder_, user_);
    }
    return HeldLock(*calls_, files_, user_);
}

void TemperatureHistoryStore::forgetCache() noexcept {
    cachedSamples_.reset();
    journalCount_ = 0;
    journalLength_ = 0;
}

TemperatureHistoryStore::Revision TemperatureHistoryStore::currentRevision() const {
    return {calls_->stamp(files_.snapshot.c_str()), calls_->stamp(files_.journal.c_str())};
}

// Whatever cannot be shown to be missing counts as there.
bool TemperatureHistoryStore::exists(const std::filesystem::path& path) const {
    FileAttributes attributes;
    return retryingInterrupted([&] { return calls_->lstat(path.c_str(), attributes); }) == 0 ||
           errno != ENOENT;
}

// Copies, never moves: the earlier application may still be installed and reading its file.
// Under the lock, so that no other process starts the history meanwhile, and with an atomic
// write, so that a crash leaves either the whole copy or none. Best effort: the store starts
// empty when there is nothing it may adopt.
void TemperatureHistoryStore::adoptLegacyHistory(const std::filesystem::path& supportFolder) {
    const auto startedAlready = [this] {
        return exists(files_.snapshot) || exists(files_.journal);
    };
    if (startedAlready()) {
        return;
    }
    const auto candidate = std::ranges::find_if(legacyFolderNames, [&](std::string_view folder) {
        return exists(supportFolder / folder / fileName);
    });
    if (candidate == legacyFolderNames.end()) {
        return;
    }
    try {
        const HeldLock held = lock();
        if (startedAlready()) {
            return;
        }
        if (const std::optional<std::string> bytes =
                readWholeFile(*calls_, supportFolder / *candidate / fileName, user_)) {
            AtomicFile::replace(*calls_, files_.snapshot, *bytes, dataFileMode);
        }
    } catch (const std::exception&) {
        // Construction never fails; the first operation reports a folder it cannot use.
    }
}

void TemperatureHistoryStore::read() {
    if (cachedSamples_) {
        return;
    }
    const std::optional<std::string> journalBytes = readWholeFile(*calls_, files_.journal, user_);
    const HistoryFileFormat::Journal journal = journalBytes
                                                   ? HistoryFileFormat::decodeJournal(*journalBytes)
                                                   : HistoryFileFormat::Journal{};
    std::vector<TemperatureSample> snapshot;
    if (!journal.containsReset()) {
        if (const std::optional<std::string> bytes =
                readWholeFile(*calls_, files_.snapshot, user_)) {
            snapshot = HistoryFileFormat::decodeSnapshot(*bytes, journal.entries.size());
        }
    }
    cachedSamples_.emplace(HistoryFileFormat::fold(std::move(snapshot), journal.entries));
    journalCount_ = static_cast<std::int64_t>(journal.entries.size());
    journalLength_ = journal.validLength;
}

void TemperatureHistoryStore::compact() {
    AtomicFile::replace(*calls_, files_.snapshot,
                        HistoryFileFormat::encodeSnapshot(cachedSamples_->samples()), dataFileMode);
    AtomicFile::replace(*calls_, files_.journal, "", dataFileMode);
    journalCount_ = 0;
    journalLength_ = 0;
}

OwnedFile TemperatureHistoryStore::openJournalForWriting() {
    constexpr int flags = O_WRONLY | O_CLOEXEC;
    if (std::optional<OwnedFile> journal =
            OwnedFile::openIfExists(*calls_, files_.journal, flags, user_)) {
        return std::move(*journal);
    }
    AtomicFile::replace(*calls_, files_.journal, "", dataFileMode);
    return OwnedFile::open(*calls_, files_.journal, flags, 0, user_);
}

void TemperatureHistoryStore::appendToJournal(const std::string& line) {
    const OwnedFile journal = openJournalForWriting();
    const int descriptor = journal.descriptor.get();
    const auto validLength = static_cast<off_t>(journalLength_);
    const std::string what = files_.journal.string();
    // Cuts off a line an interrupted writer left unfinished. Only then: truncating touches the
    // file's metadata, which costs the flush below almost as much again.
    if (journal.attributes.size > journalLength_ &&
        retryingInterrupted([&] { return calls_->ftruncate(descriptor, validLength); }) != 0) {
        throwLastError("cannot truncate " + what);
    }
    if (retryingInterrupted([&] { return calls_->lseek(descriptor, validLength, SEEK_SET); }) < 0) {
        throwLastError("cannot seek in " + what);
    }
    try {
        PosixFile::writeAll(*calls_, descriptor, line, what);
        PosixFile::flush(*calls_, descriptor, what);
    } catch (const std::system_error& failure) {
        takeBackUnacknowledgedLine(*calls_, descriptor, validLength, failure);
        throw;
    }
    journalLength_ += line.size();
    ++journalCount_;
}

}  // namespace tallowbeck
