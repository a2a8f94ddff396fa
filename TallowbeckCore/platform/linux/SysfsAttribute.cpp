#include "TallowbeckCore/platform/linux/SysfsAttribute.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <span>

namespace tallowbeck::SysfsAttribute {
namespace {

constexpr std::size_t attributeCapacity = 4096;
constexpr std::string_view blanks = " \t\n";

std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

// Reads until the end of the file or a full buffer; gives the bytes read, nothing on an error.
std::optional<std::size_t> readInto(int descriptor, std::span<char> buffer) noexcept {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t count = ::read(descriptor, buffer.data() + filled, buffer.size() - filled);
        if (count == 0) {
            break;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return std::nullopt;
        }
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

}  // namespace

std::optional<std::string> read(const std::filesystem::path& path) noexcept {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    std::array<char, attributeCapacity> buffer;
    const std::optional<std::size_t> size = readInto(descriptor, buffer);
    ::close(descriptor);
    if (!size) {
        return std::nullopt;
    }
    return std::string(trimmed(std::string_view(buffer.data(), *size)));
}

std::optional<std::int64_t> integer(std::string_view text) noexcept {
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || next != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace tallowbeck::SysfsAttribute
