#include "TallowbeckCore/platform/linux/LinuxSystemValues.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {
namespace {

constexpr std::string_view brandStringName = "machdep.cpu.brand_string";
constexpr std::string_view modelNameKey = "model name";
// The first processor's block, which names the model within its first lines, fits well.
constexpr std::size_t cpuinfoPrefixSize = 8192;

// The value of a "key<tabs>: value" line whose key is `key`, or nothing for any other line.
std::optional<std::string_view> valueOfLine(std::string_view line, std::string_view key) noexcept {
    const std::size_t separator = line.find(':');
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view lineKey = line.substr(0, separator);
    lineKey.remove_suffix(lineKey.size() - (lineKey.find_last_not_of(" \t") + 1));
    if (lineKey != key) {
        return std::nullopt;
    }
    std::string_view value = line.substr(separator + 1);
    if (value.starts_with(' ')) {
        value.remove_prefix(1);
    }
    return value;
}

}  // namespace

LinuxSystemValues::LinuxSystemValues(const std::filesystem::path& root)
    : cpuinfoPath_(root / "proc/cpuinfo") {}

std::optional<std::size_t> LinuxSystemValues::valueLength(const char* name) noexcept {
    const std::optional<std::string> bytes = value(name);
    if (!bytes) {
        return std::nullopt;
    }
    return bytes->size();
}

std::optional<std::size_t> LinuxSystemValues::readValue(const char* name,
                                                        std::span<char> buffer) noexcept {
    const std::optional<std::string> bytes = value(name);
    if (!bytes || bytes->size() > buffer.size()) {
        return std::nullopt;
    }
    std::ranges::copy(*bytes, buffer.begin());
    return bytes->size();
}

std::optional<std::string> LinuxSystemValues::value(const char* name) const noexcept {
    if (name != brandStringName) {
        return std::nullopt;
    }
    std::optional<std::string> modelName = processorModelName();
    if (modelName) {
        modelName->push_back('\0');
    }
    return modelName;
}

std::optional<std::string> LinuxSystemValues::processorModelName() const noexcept {
    std::array<char, cpuinfoPrefixSize> buffer;
    std::optional<std::string_view> text = KernelFile::readPrefix(cpuinfoPath_.c_str(), buffer);
    while (text && !text->empty()) {
        const std::size_t lineEnd = std::min(text->find('\n'), text->size());
        if (const std::optional<std::string_view> modelName =
                valueOfLine(text->substr(0, lineEnd), modelNameKey)) {
            return std::string(*modelName);
        }
        text->remove_prefix(std::min(lineEnd + 1, text->size()));
    }
    return std::nullopt;
}

SystemValues& SystemValues::system() {
    static LinuxSystemValues instance;
    return instance;
}

}  // namespace tallowbeck
