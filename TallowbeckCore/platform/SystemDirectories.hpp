#pragma once

#include <filesystem>

namespace tallowbeck::SystemDirectories {

// The folder below which a system-wide service keeps the state it needs across restarts, each in
// a folder of its own: "/Library/Application Support" on macOS, "/var/lib" on Linux. Only the
// superuser can write there.
std::filesystem::path serviceState();

}  // namespace tallowbeck::SystemDirectories
