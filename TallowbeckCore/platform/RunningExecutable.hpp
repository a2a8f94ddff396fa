#pragma once

#include <filesystem>
#include <optional>

namespace tallowbeck::RunningExecutable {

// The program file this process runs, with symbolic links resolved, so that files installed
// beside it can be found; nothing when the system cannot tell.
std::optional<std::filesystem::path> path() noexcept;

}  // namespace tallowbeck::RunningExecutable
