#include "TallowbeckCore/history/AtomicFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include "TallowbeckCore/support/FileDescriptor.hpp"
#include "TallowbeckCore/support/SystemCall.hpp"
#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

constexpr mode_t dataFileMode = 0644;

std::filesystem::path temporarySibling(const std::filesystem::path& target) {
    // Hidden, and unique so that an abandoned one never blocks the next write.
    std::string name(1, '.');
    name += target.filename().string();
    name += '.';
    name += UUID::random().text();
    name += ".tmp";
    return target.parent_path() / name;
}

FileDescriptor createExclusively(const FileCalls& calls, const std::filesystem::path& path) {
    const int descriptor = retryingInterrupted([&] {
        return calls.open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, dataFileMode);
    });
    if (descriptor < 0) {
        throwLastError("cannot create " + path.string());
    }
    return FileDescriptor(descriptor);
}

void writeNewFile(const FileCalls& calls, const std::filesystem::path& path,
                  std::string_view bytes) {
    FileDescriptor file = createExclusively(calls, path);
    try {
        AtomicFile::writeAll(calls, file.get(), bytes, path.string());
        AtomicFile::flush(calls, file.get(), path.string());
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
}

void moveOver(const FileCalls& calls, const std::filesystem::path& from,
              const std::filesystem::path& to) {
    if (retryingInterrupted([&] { return calls.rename(from.c_str(), to.c_str()); }) != 0) {
        const int error = errno;
        ::unlink(from.c_str());
        errno = error;
        throwLastError("cannot replace " + to.string());
    }
}

// Makes the rename itself durable. Best effort, as some file systems refuse to flush a
// directory: by now every reader sees the new file, so failing would only misreport the change.
void flushDirectory(const FileCalls& calls, const std::filesystem::path& directory) {
    const FileDescriptor descriptor(retryingInterrupted(
        [&] { return calls.open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0); }));
    if (descriptor.isOpen()) {
        retryingInterrupted([&] { return calls.fsync(descriptor.get()); });
    }
}

}  // namespace

void AtomicFile::replace(const FileCalls& calls, const std::filesystem::path& target,
                         std::string_view bytes) {
    const std::filesystem::path temporary = temporarySibling(target);
    writeNewFile(calls, temporary, bytes);
    moveOver(calls, temporary, target);
    flushDirectory(calls, target.parent_path());
}

void AtomicFile::writeAll(const FileCalls& calls, int descriptor, std::string_view bytes,
                          const std::string& what) {
    while (!bytes.empty()) {
        const ssize_t written = retryingInterrupted(
            [&] { return calls.write(descriptor, bytes.data(), bytes.size()); });
        if (written <= 0) {
            if (written == 0) {
                errno = EIO;  // no progress and no reason given; never loop on it
            }
            throwLastError("cannot write " + what);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void AtomicFile::flush(const FileCalls& calls, int descriptor, const std::string& what) {
    if (retryingInterrupted([&] { return calls.fsync(descriptor); }) != 0) {
        throwLastError("cannot flush " + what);
    }
}

}  // namespace tallowbeck
