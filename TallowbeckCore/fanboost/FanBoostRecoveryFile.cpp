#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <utility>

#include "TallowbeckCore/platform/SystemDirectories.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {
namespace {

constexpr const char* helperFolder = "com.tallowbeck.Quillmoss.FanHelper";
constexpr const char* fileName = "fan-boost-recovery";
constexpr mode_t folderMode = 0755;
constexpr mode_t fileMode = 0644;

}  // namespace

std::filesystem::path FanBoostRecoveryFile::defaultPath() {
    return SystemDirectories::serviceState() / helperFolder / fileName;
}

FanBoostRecoveryFile::FanBoostRecoveryFile(std::filesystem::path path, FileCalls& calls)
    : path_(std::move(path)), calls_(calls) {}

bool FanBoostRecoveryFile::isPending() noexcept {
    try {
        const FileDescriptor file(SystemCall::retryingInterrupted(
            [this] { return calls_.open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC, 0); }));
        if (!file.isOpen()) {
            // Nothing was ever forced if nothing was ever recorded.
            return errno != ENOENT;
        }
        return PosixFile::readAll(calls_, file.get(), path_.string()) != clearContents;
    } catch (...) {
        // Restoring automatic control is always safe; forcing without a record never is.
        return true;
    }
}

void FanBoostRecoveryFile::setPending(bool pending) {
    PosixFile::createDirectories(calls_, path_.parent_path(), folderMode);
    AtomicFile::replace(calls_, path_, pending ? pendingContents : clearContents, fileMode);
}

}  // namespace tallowbeck
