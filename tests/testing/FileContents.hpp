#pragma once

#include <filesystem>
#include <string>

namespace tallowbeck::testing {

// The file's bytes; throws std::runtime_error when it cannot be read.
std::string contentsOf(const std::filesystem::path& path);

}  // namespace tallowbeck::testing
