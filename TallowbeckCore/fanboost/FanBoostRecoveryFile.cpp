#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "TallowbeckCore/platform/SystemDirectories.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/FileOwnership.hpp"
#include "TallowbeckCore/posix/OwnedFile.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {
namespace {

using SystemCall::retryingInterrupted;

constexpr const char* helperFolder = "com.tallowbeck.Quillmoss.FanHelper";
constexpr const char* fileName = "fan-boost-recovery";
constexpr mode_t folderMode = 0755;
constexpr mode_t fileMode = 0644;
// One byte beyond the longer of the two contents tells a longer file from either.
constexpr std::size_t prefixLength = FanBoostRecoveryFile::pendingContents.size() + 1;

std::filesystem::path fromCurrentFolder(std::filesystem::path path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute;
}

// Up to `prefixLength` bytes from the start of the file.
std::string prefixOf(FileCalls& calls, int descriptor, const std::filesystem::path& path) {
    std::array<char, prefixLength> buffer{};
    std::size_t length = 0;
    while (length < buffer.size()) {
        const ssize_t count = retryingInterrupted(
            [&] { return calls.read(descriptor, buffer.data() + length, buffer.size() - length); });
        if (count < 0) {
            SystemCall::throwLastError("cannot read " + path.string());
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    return {buffer.data(), length};
}

}  // namespace

std::filesystem::path FanBoostRecoveryFile::defaultPath() {
    return SystemDirectories::serviceState() / helperFolder / fileName;
}

FanBoostRecoveryFile::FanBoostRecoveryFile(std::filesystem::path path, FileCalls& calls, uid_t user)
    : path_(fromCurrentFolder(std::move(path))), calls_(calls), user_(user) {}

bool FanBoostRecoveryFile::isPending() noexcept {
    try {
        return !readsClear();
    } catch (...) {
        // Restoring automatic control is always safe; forcing without a record never is.
        return true;
    }
}

bool FanBoostRecoveryFile::readsClear() {
    try {
        requireOwnFolder();
    } catch (const std::system_error& error) {
        // Nothing was ever forced if nothing was ever recorded.
        if (error.code() == std::errc::no_such_file_or_directory) {
            return true;
        }
        throw;
    }
    const std::optional<OwnedFile> file =
        OwnedFile::openIfExists(calls_, path_, O_RDONLY | O_CLOEXEC, user_);
    if (!file) {
        return true;
    }
    FileOwnership::requireUnwritableByOthers(file->attributes, path_);
    return prefixOf(calls_, file->descriptor.get(), path_) == clearContents;
}

void FanBoostRecoveryFile::setPending(bool pending) {
    PosixFile::createDirectories(calls_, path_.parent_path(), folderMode, user_);
    requireOwnFolder();
    AtomicFile::replace(calls_, path_, pending ? pendingContents : clearContents, fileMode);
}

void FanBoostRecoveryFile::requireOwnFolder() {
    const std::filesystem::path folder = path_.parent_path();
    FileAttributes attributes;
    if (retryingInterrupted([&] { return calls_.lstat(folder.c_str(), attributes); }) != 0) {
        SystemCall::throwLastError("cannot examine " + folder.string());
    }
    FileOwnership::requirePrivateDirectory(attributes, user_, folder);
}

}  // namespace tallowbeck
