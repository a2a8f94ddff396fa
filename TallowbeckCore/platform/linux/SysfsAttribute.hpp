#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// The small text files through which the kernel shows device attributes in sysfs and procfs.
namespace tallowbeck::SysfsAttribute {

// The file's text without surrounding blanks and line ends, or nothing when it cannot be opened
// or read: a driver may fail the read of an attribute it cannot measure right now. Attributes
// are at most a page long; anything beyond the first 4 KiB is not read.
std::optional<std::string> read(const std::filesystem::path& path) noexcept;

// The whole of `text` as a decimal integer with an optional minus sign.
std::optional<std::int64_t> integer(std::string_view text) noexcept;

}  // namespace tallowbeck::SysfsAttribute
