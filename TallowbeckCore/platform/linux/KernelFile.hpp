#pragma once

#include <charconv>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

// The small text files through which the kernel shows its state in procfs and sysfs.
namespace tallowbeck::KernelFile {

// The file's first bytes, up to the buffer's size, read into the caller's buffer: no allocation,
// no stream, no locale. Nothing when the file cannot be opened or read: a driver may fail the
// read of an attribute it cannot measure right now.
std::optional<std::string_view> readPrefix(const char* path, std::span<char> buffer) noexcept;

// A sysfs or procfs attribute's text without surrounding blanks and line ends, or nothing as
// above. Attributes are at most a page long; anything beyond the first 4 KiB is not read.
std::optional<std::string> readAttribute(const std::filesystem::path& path) noexcept;

// The whole of `text` as a decimal number (with a minus sign where `Integer` is signed).
template <typename Integer>
std::optional<Integer> wholeNumber(std::string_view text) noexcept {
    Integer value = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || next != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace tallowbeck::KernelFile
