#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tallowbeck::testing {

// The file's bytes; throws std::runtime_error when it cannot be read.
std::string contentsOf(const std::filesystem::path& path);

// The lines of `text`, a program's output for instance, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);

}  // namespace tallowbeck::testing
