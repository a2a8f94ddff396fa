#include "TallowbeckCore/posix/AtomicFile.hpp"

#include <fcntl.h>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

std::filesystem::path temporarySibling(const std::filesystem::path& target) {
    // Hidden, and unique so that an abandoned one never blocks the next write.
    std::string name(1, '.');
    name += target.filename().string();
    name += '.';
    name += UUID::random().text();
    name += ".tmp";
    return target.parent_path() / name;
}

// Removing the temporary is best effort: the write has failed either way, and the name is unique.
void discard(FileCalls& calls, const std::filesystem::path& path) noexcept {
    const int error = errno;
    retryingInterrupted([&] { return calls.unlink(path.c_str()); });
    errno = error;
}

void writeNewFile(FileCalls& calls, const std::filesystem::path& path, std::string_view bytes,
                  mode_t mode) {
    const FileDescriptor file =
        PosixFile::open(calls, path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    try {
        PosixFile::writeAll(calls, file.get(), bytes, path.string());
        PosixFile::flush(calls, file.get(), path.string());
    } catch (...) {
        discard(calls, path);
        throw;
    }
}

void moveOver(FileCalls& calls, const std::filesystem::path& from,
              const std::filesystem::path& to) {
    if (retryingInterrupted([&] { return calls.rename(from.c_str(), to.c_str()); }) != 0) {
        discard(calls, from);
        throwLastError("cannot replace " + to.string());
    }
}

// Makes the rename itself durable. Best effort, as some file systems refuse to flush a
// directory: by now every reader sees the new file, so failing would only misreport the change.
void flushDirectory(FileCalls& calls, const std::filesystem::path& directory) {
    const FileDescriptor descriptor(retryingInterrupted(
        [&] { return calls.open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0); }));
    if (descriptor.isOpen()) {
        retryingInterrupted([&] { return calls.fsync(descriptor.get()); });
    }
}

}  // namespace

void AtomicFile::replace(FileCalls& calls, const std::filesystem::path& target,
                         std::string_view bytes, mode_t mode) {
    const std::filesystem::path temporary = temporarySibling(target);
    writeNewFile(calls, temporary, bytes, mode);
    moveOver(calls, temporary, target);
    // A bare file name lies in the working directory.
    const std::filesystem::path directory = target.parent_path();
    flushDirectory(calls, directory.empty() ? std::filesystem::path(".") : directory);
}

}  // namespace tallowbeck
