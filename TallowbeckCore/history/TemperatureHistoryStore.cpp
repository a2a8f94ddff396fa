#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"

#include <fcntl.h>
#include <simdjson.h>
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>

#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/support/LocalCalendar.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

constexpr std::string_view folderName = "com.tallowbeck.Ordwell";
constexpr std::string_view fileName = "temperature-history.json";
constexpr std::array<std::string_view, 2> legacyFolderNames = {"com.tallowbeck.Brindlecove",
                                                               "com.tallowbeck.Tallowbeck"};
constexpr std::int64_t journalEntriesBeforeCompaction = 1440;
constexpr mode_t lockFileMode = 0600;
constexpr mode_t dataFileMode = 0600;
constexpr mode_t directoryMode = 0700;
// 0001-01-01T00:00:00Z: the earliest time a cutoff is ever written as.
constexpr double distantPast = -62135596800.0;

std::filesystem::path supportDirectory(const UserDirectories& directories) {
    return directories.applicationSupport().value_or(directories.temporary());
}

bool fileExists(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

// Copies, never moves: the earlier application may still be installed and reading its file.
void adoptLegacyHistory(const UserDirectories& directories, const std::filesystem::path& target) {
    if (fileExists(target) || fileExists(HistoryFiles::beside(target).journal)) {
        return;
    }
    for (const std::string_view legacyFolder : legacyFolderNames) {
        const std::filesystem::path candidate =
            supportDirectory(directories) / legacyFolder / fileName;
        if (fileExists(candidate)) {
            std::error_code ignored;
            std::filesystem::create_directories(target.parent_path(), ignored);
            std::filesystem::copy_file(candidate, target, ignored);
            return;
        }
    }
}

std::filesystem::path resolvedFileURL(const std::optional<std::filesystem::path>& fileURL,
                                      const UserDirectories& directories) {
    if (!fileURL) {
        std::filesystem::path target = TemperatureHistoryStore::defaultFileURL(directories);
        adoptLegacyHistory(directories, target);
        return target;
    }
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(*fileURL, error);
    return error ? *fileURL : absolute;
}

double retentionCutoff(double now, std::int64_t retentionDays) {
    return LocalCalendar::addingDays(now, -std::max<std::int64_t>(retentionDays, 1))
        .value_or(distantPast);
}

// The file's bytes, or nothing when it does not exist.
std::optional<std::string> readWholeFile(FileCalls& calls, const std::filesystem::path& path) {
    const int descriptor =
        retryingInterrupted([&] { return calls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0); });
    if (descriptor < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    if (descriptor < 0) {
        throwLastError("cannot open " + path.string());
    }
    const FileDescriptor file(descriptor);
    // Room for the JSON parser's padding spares it a copy of the whole file.
    return PosixFile::readAll(calls, file.get(), path.string(), simdjson::SIMDJSON_PADDING);
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

// The exclusive lock on the lock file for one operation; released and closed when it goes.
class HeldLock {
public:
    HeldLock(FileCalls& calls, const std::filesystem::path& lockFile)
        : calls_(calls),
          file_(PosixFile::open(calls, lockFile, O_RDWR | O_CREAT | O_CLOEXEC, lockFileMode)) {
        if (retryingInterrupted([&] { return calls_.flock(file_.get(), LOCK_EX); }) != 0) {
            throwLastError("cannot lock " + lockFile.string());
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

}  // namespace

TemperatureHistoryStore::TemperatureHistoryStore(std::optional<std::filesystem::path> fileURL,
                                                 FileCalls& calls,
                                                 const UserDirectories& directories)
    : files_(HistoryFiles::beside(resolvedFileURL(fileURL, directories))), calls_(&calls) {}

std::filesystem::path TemperatureHistoryStore::defaultFileURL(const UserDirectories& directories) {
    return supportDirectory(directories) / folderName / fileName;
}

std::span<const TemperatureSample> TemperatureHistoryStore::samples() {
    locked([this] { read(); });
    return cachedSamples_->samples();
}

std::span<const TemperatureSample> TemperatureHistoryStore::append(const TemperatureSample& sample,
                                                                   std::int64_t retentionDays,
                                                                   double now) {
    locked([&] {
        const double cutoff = retentionCutoff(now, retentionDays);
        // Encoded first: a sample that cannot be written changes nothing.
        const std::string line = JournalEntry::sampleEntry(sample, cutoff).line();
        read();
        if (journalCount_ >= journalEntriesBeforeCompaction) {
            compact();
        }
        cachedSamples_->removeRecordedBefore(cutoff);
        // A duplicate still goes to the journal; readers skip it there.
        if (!cachedSamples_->containsID(sample.id())) {
            cachedSamples_->append(sample);
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
    PosixFile::createDirectories(*calls_, files_.snapshot.parent_path(), directoryMode);
    const HeldLock lock(*calls_, files_.lock);
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

void TemperatureHistoryStore::forgetCache() noexcept {
    cachedSamples_.reset();
    journalCount_ = 0;
    journalLength_ = 0;
}

TemperatureHistoryStore::Revision TemperatureHistoryStore::currentRevision() const {
    return {calls_->stamp(files_.snapshot.c_str()), calls_->stamp(files_.journal.c_str())};
}

void TemperatureHistoryStore::read() {
    if (cachedSamples_) {
        return;
    }
    const std::optional<std::string> journalBytes = readWholeFile(*calls_, files_.journal);
    const HistoryFileFormat::Journal journal = journalBytes
                                                   ? HistoryFileFormat::decodeJournal(*journalBytes)
                                                   : HistoryFileFormat::Journal{};
    std::vector<TemperatureSample> snapshot;
    if (!journal.containsReset()) {
        if (const std::optional<std::string> bytes = readWholeFile(*calls_, files_.snapshot)) {
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

FileDescriptor TemperatureHistoryStore::openJournalForWriting() {
    const auto open = [this] {
        return retryingInterrupted(
            [this] { return calls_->open(files_.journal.c_str(), O_WRONLY | O_CLOEXEC, 0); });
    };
    int descriptor = open();
    if (descriptor < 0 && errno == ENOENT) {
        AtomicFile::replace(*calls_, files_.journal, "", dataFileMode);
        descriptor = open();
    }
    if (descriptor < 0) {
        throwLastError("cannot open " + files_.journal.string());
    }
    return FileDescriptor(descriptor);
}

void TemperatureHistoryStore::appendToJournal(const std::string& line) {
    const FileDescriptor journal = openJournalForWriting();
    const auto validLength = static_cast<off_t>(journalLength_);
    const std::string what = files_.journal.string();
    FileAttributes attributes;
    if (retryingInterrupted([&] { return calls_->fstat(journal.get(), attributes); }) != 0) {
        throwLastError("cannot read " + what);
    }
    // Cuts off a line an interrupted writer left unfinished. Only then: truncating touches the
    // file's metadata, which costs the flush below almost as much again.
    if (attributes.size > journalLength_ &&
        retryingInterrupted([&] { return calls_->ftruncate(journal.get(), validLength); }) != 0) {
        throwLastError("cannot truncate " + what);
    }
    if (retryingInterrupted([&] { return calls_->lseek(journal.get(), validLength, SEEK_SET); }) <
        0) {
        throwLastError("cannot seek in " + what);
    }
    try {
        PosixFile::writeAll(*calls_, journal.get(), line, what);
        PosixFile::flush(*calls_, journal.get(), what);
    } catch (const std::system_error& failure) {
        takeBackUnacknowledgedLine(*calls_, journal.get(), validLength, failure);
        throw;
    }
    journalLength_ += line.size();
    ++journalCount_;
}

}  // namespace tallowbeck
