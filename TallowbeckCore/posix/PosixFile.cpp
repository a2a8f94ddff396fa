#include "TallowbeckCore/posix/PosixFile.hpp"

#include <cerrno>

#include "TallowbeckCore/posix/FileOwnership.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

constexpr std::size_t readChunkSize = 65536;

}  // namespace

FileDescriptor PosixFile::open(FileCalls& calls, const std::filesystem::path& path, int flags,
                               mode_t mode) {
    const int descriptor =
        retryingInterrupted([&] { return calls.open(path.c_str(), flags, mode); });
    if (descriptor < 0) {
        throwLastError("cannot open " + path.string());
    }
    return FileDescriptor(descriptor);
}

std::string PosixFile::readAll(FileCalls& calls, int descriptor, const std::string& what,
                               std::size_t spareCapacity) {
    FileAttributes attributes;
    if (retryingInterrupted([&] { return calls.fstat(descriptor, attributes); }) != 0) {
        throwLastError("cannot read " + what);
    }
    // Read straight into the string, sized to the file and one byte more, so that the read that
    // finds the end needs no room of its own; a file that grows meanwhile is read to its new end.
    const auto expectedSize = static_cast<std::size_t>(attributes.size);
    std::string bytes;
    bytes.reserve(expectedSize + 1 + spareCapacity);
    bytes.resize(expectedSize + 1);
    std::size_t filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            bytes.resize(filled + readChunkSize);
        }
        const ssize_t count = retryingInterrupted(
            [&] { return calls.read(descriptor, bytes.data() + filled, bytes.size() - filled); });
        if (count < 0) {
            throwLastError("cannot read " + what);
        }
        if (count == 0) {
            bytes.resize(filled);
            bytes.reserve(filled + spareCapacity);
            return bytes;
        }
        filled += static_cast<std::size_t>(count);
    }
}

void PosixFile::writeAll(FileCalls& calls, int descriptor, std::string_view bytes,
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

void PosixFile::flush(FileCalls& calls, int descriptor, const std::string& what) {
    if (retryingInterrupted([&] { return calls.fsync(descriptor); }) != 0) {
        throwLastError("cannot flush " + what);
    }
}

void PosixFile::createDirectories(FileCalls& calls, const std::filesystem::path& directory,
                                  mode_t mode, uid_t user) {
    FileAttributes attributes;
    // One that exists already serves, whoever made it; a file in its place shows as soon as
    // anything is opened below it.
    if (retryingInterrupted([&] { return calls.lstat(directory.c_str(), attributes); }) == 0) {
        return;
    }
    if (errno != ENOENT) {
        throwLastError("cannot examine " + directory.string());
    }
    const std::filesystem::path parent = directory.parent_path();
    if (!parent.empty() && parent != directory) {
        createDirectories(calls, parent, mode, user);
    }
    FileOwnership::requireMayCreateFolder(calls, directory, user);
    if (retryingInterrupted([&] { return calls.mkdir(directory.c_str(), mode); }) != 0 &&
        errno != EEXIST) {
        throwLastError("cannot create " + directory.string());
    }
}

}  // namespace tallowbeck
