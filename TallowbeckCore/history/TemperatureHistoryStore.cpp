#include "TallowbeckCore/history/TemperatureHistoryStore.hpp"

#include <fcntl.h>
#include <simdjson.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "TallowbeckCore/history/AtomicFile.hpp"
#include "TallowbeckCore/history/HistoryFileFormat.hpp"
#include "TallowbeckCore/history/JournalEntry.hpp"
#include "TallowbeckCore/support/FileDescriptor.hpp"
#include "TallowbeckCore/support/LocalCalendar.hpp"
#include "TallowbeckCore/support/SystemCall.hpp"

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

FileDescriptor openFile(const FileCalls& calls, const std::filesystem::path& path, int flags,
                        mode_t mode = 0) {
    const int descriptor =
        retryingInterrupted([&] { return calls.open(path.c_str(), flags, mode); });
    if (descriptor < 0) {
        throwLastError("cannot open " + path.string());
    }
    return FileDescriptor(descriptor);
}

// The file's bytes, or nothing when it does not exist.
std::optional<std::string> readWholeFile(const FileCalls& calls,
                                         const std::filesystem::path& path) {
    const int descriptor =
        retryingInterrupted([&] { return calls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0); });
    if (descriptor < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    if (descriptor < 0) {
        throwLastError("cannot open " + path.string());
    }
    const FileDescriptor file(descriptor);
    struct stat attributes {};
    std::string bytes;
    if (::fstat(file.get(), &attributes) == 0) {
        // Room for the JSON parser's padding spares it a copy of the whole file.
        bytes.reserve(static_cast<std::size_t>(attributes.st_size) + simdjson::SIMDJSON_PADDING);
    }
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count =
            retryingInterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
        if (count < 0) {
            throwLastError("cannot read " + path.string());
        }
        if (count == 0) {
            return bytes;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

// The exclusive lock on the lock file for one operation; released and closed when it goes.
class HeldLock {
public:
    HeldLock(const FileCalls& calls, const std::filesystem::path& lockFile)
        : calls_(calls),
          file_(openFile(calls, lockFile, O_RDWR | O_CREAT | O_CLOEXEC, lockFileMode)) {
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
    const FileCalls& calls_;
    FileDescriptor file_;
};

}  // namespace

TemperatureHistoryStore::TemperatureHistoryStore(std::optional<std::filesystem::path> fileURL,
                                                 const FileCalls& calls,
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
        AtomicFile::replace(*calls_, files_.journal, line);
        journalCount_ = 1;
        journalLength_ = line.size();
        cachedSamples_.emplace(std::vector<TemperatureSample>{});
    });
}

template <typename Body>
void TemperatureHistoryStore::locked(Body&& body) {
    std::filesystem::create_directories(files_.snapshot.parent_path());
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
                        HistoryFileFormat::encodeSnapshot(cachedSamples_->samples()));
    AtomicFile::replace(*calls_, files_.journal, "");
    journalCount_ = 0;
    journalLength_ = 0;
}

void TemperatureHistoryStore::appendToJournal(const std::string& line) {
    const std::optional<FileStamp> stamp = calls_->stamp(files_.journal.c_str());
    if (!stamp) {
        AtomicFile::replace(*calls_, files_.journal, "");
    }
    const FileDescriptor journal = openFile(*calls_, files_.journal, O_WRONLY | O_CLOEXEC);
    const auto validLength = static_cast<off_t>(journalLength_);
    const std::string what = files_.journal.string();
    // Cuts off a line an interrupted writer left unfinished. Only then: truncating touches the
    // file's metadata, which costs the flush below almost as much again.
    if (stamp && stamp->size > journalLength_ &&
        retryingInterrupted([&] { return calls_->ftruncate(journal.get(), validLength); }) != 0) {
        throwLastError("cannot truncate " + what);
    }
    if (::lseek(journal.get(), validLength, SEEK_SET) < 0) {
        throwLastError("cannot seek in " + what);
    }
    try {
        AtomicFile::writeAll(*calls_, journal.get(), line, what);
        AtomicFile::flush(*calls_, journal.get(), what);
    } catch (...) {
        // A line that did not reach the disk must not be read back as if it had.
        calls_->ftruncate(journal.get(), validLength);
        throw;
    }
    journalLength_ += line.size();
    ++journalCount_;
}

}  // namespace tallowbeck
