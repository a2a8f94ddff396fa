#include "TallowbeckCore/posix/OwnedFile.hpp"

#include <fcntl.h>

#include <cerrno>

#include "TallowbeckCore/posix/FileOwnership.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

namespace {

using SystemCall::retryingInterrupted;
using SystemCall::throwLastError;

// A refused symbolic link shows as ELOOP, which a loop of links on the way there gives too; the
// path's own attributes tell the two apart.
[[noreturn]] void throwOpenError(FileCalls& calls, const std::filesystem::path& path) {
    const int error = errno;
    FileAttributes attributes;
    if (error == ELOOP &&
        retryingInterrupted([&] { return calls.lstat(path.c_str(), attributes); }) == 0) {
        FileOwnership::requireNotALink(attributes, path);
    }
    errno = error;
    throwLastError("cannot open " + path.string());
}

std::optional<OwnedFile> opened(FileCalls& calls, const std::filesystem::path& path, int flags,
                                mode_t mode, uid_t user, bool missingIsFine) {
    FileDescriptor descriptor(retryingInterrupted(
        [&] { return calls.open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK, mode); }));
    if (!descriptor.isOpen()) {
        if (missingIsFine && errno == ENOENT) {
            return std::nullopt;
        }
        throwOpenError(calls, path);
    }
    FileAttributes attributes;
    if (retryingInterrupted([&] { return calls.fstat(descriptor.get(), attributes); }) != 0) {
        throwLastError("cannot examine " + path.string());
    }
    FileOwnership::requireUsersFile(attributes, user, path);
    return OwnedFile{.descriptor = std::move(descriptor), .attributes = attributes};
}

}  // namespace

OwnedFile OwnedFile::open(FileCalls& calls, const std::filesystem::path& path, int flags,
                          mode_t mode, uid_t user) {
    return *opened(calls, path, flags, mode, user, false);
}

std::optional<OwnedFile> OwnedFile::openIfExists(FileCalls& calls,
                                                 const std::filesystem::path& path, int flags,
                                                 uid_t user) {
    return opened(calls, path, flags, 0, user, true);
}

}  // namespace tallowbeck
