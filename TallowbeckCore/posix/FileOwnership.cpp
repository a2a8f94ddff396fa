#include "TallowbeckCore/posix/FileOwnership.hpp"

#include <cerrno>
#include <string>
#include <system_error>

#include "TallowbeckCore/posix/ForeignFolderError.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

namespace {

using Kind = FileAttributes::Kind;
using SystemCall::retryingInterrupted;

constexpr mode_t writableByGroupOrOthers = 0022;
constexpr mode_t privateDirectoryMode = 0700;
constexpr uid_t superuser = 0;

[[noreturn]] void refuse(int error, const std::filesystem::path& path, const std::string& reason) {
    throw std::system_error(error, std::generic_category(),
                            "refusing " + path.string() + ": " + reason);
}

void requireOwner(const FileAttributes& attributes, uid_t user, const std::filesystem::path& path) {
    if (attributes.owner != user) {
        refuse(EPERM, path,
               "it belongs to user " + std::to_string(attributes.owner) + ", not to user " +
                   std::to_string(user));
    }
}

}  // namespace

void FileOwnership::requireNotALink(const FileAttributes& attributes,
                                    const std::filesystem::path& path) {
    if (attributes.kind == Kind::symbolicLink) {
        refuse(ELOOP, path, "it is a symbolic link");
    }
}

void FileOwnership::requireUsersFile(const FileAttributes& attributes, uid_t user,
                                     const std::filesystem::path& path) {
    requireNotALink(attributes, path);
    if (attributes.kind != Kind::regular) {
        refuse(EPERM, path, "it is not a regular file");
    }
    requireOwner(attributes, user, path);
}

void FileOwnership::requireUnwritableByOthers(const FileAttributes& attributes,
                                              const std::filesystem::path& path) {
    if ((attributes.permissions & writableByGroupOrOthers) != 0) {
        refuse(EPERM, path, "other users may write to it");
    }
}

void FileOwnership::requirePrivateDirectory(const FileAttributes& attributes, uid_t user,
                                            const std::filesystem::path& path) {
    requireNotALink(attributes, path);
    if (attributes.kind != Kind::directory) {
        refuse(EPERM, path, "it is not a directory");
    }
    requireOwner(attributes, user, path);
    requireUnwritableByOthers(attributes, path);
}

void FileOwnership::requireFolderToCreateIn(const FileAttributes& container, uid_t user,
                                            const std::filesystem::path& folder) {
    if (container.owner != user && container.owner != superuser) {
        throw ForeignFolderError(folder, container.owner, user);
    }
}

void FileOwnership::requireMayCreateFolder(FileCalls& calls, const std::filesystem::path& folder,
                                           uid_t user) {
    const std::filesystem::path parent = folder.parent_path();
    const std::filesystem::path container = parent.empty() ? "." : parent;
    FileAttributes attributes;
    if (retryingInterrupted([&] { return calls.lstat((container / ".").c_str(), attributes); }) !=
        0) {
        SystemCall::throwLastError("cannot examine " + container.string());
    }
    requireFolderToCreateIn(attributes, user, folder);
}

void FileOwnership::makePrivateDirectory(FileCalls& calls, const std::filesystem::path& directory,
                                         uid_t user) {
    const auto examine = [&](FileAttributes& attributes) {
        return retryingInterrupted([&] { return calls.lstat(directory.c_str(), attributes); });
    };
    FileAttributes attributes;
    if (examine(attributes) != 0) {
        if (errno != ENOENT) {
            SystemCall::throwLastError("cannot examine " + directory.string());
        }
        requireMayCreateFolder(calls, directory, user);
        if (retryingInterrupted(
                [&] { return calls.mkdir(directory.c_str(), privateDirectoryMode); }) != 0 &&
            errno != EEXIST) {
            SystemCall::throwLastError("cannot create " + directory.string());
        }
        // Checked whether it was made just now or by someone else meanwhile: only what is there
        // counts.
        if (examine(attributes) != 0) {
            SystemCall::throwLastError("cannot examine " + directory.string());
        }
    }
    requirePrivateDirectory(attributes, user, directory);
}

}  // namespace tallowbeck
