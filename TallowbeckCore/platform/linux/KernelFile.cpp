#include "TallowbeckCore/platform/linux/KernelFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck::KernelFile {
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

}  // namespace

std::optional<std::string_view> readPrefix(const char* path, std::span<char> buffer) noexcept {
    const FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return std::nullopt;
    }
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t count = SystemCall::retryingInterrupted(
            [&] { return ::read(file.get(), buffer.data() + filled, buffer.size() - filled); });
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    return std::string_view(buffer.data(), filled);
}

std::optional<std::string> readAttribute(const std::filesystem::path& path) noexcept {
    std::array<char, attributeCapacity> buffer;
    const std::optional<std::string_view> text = readPrefix(path.c_str(), buffer);
    if (!text) {
        return std::nullopt;
    }
    return std::string(trimmed(*text));
}

}  // namespace tallowbeck::KernelFile
