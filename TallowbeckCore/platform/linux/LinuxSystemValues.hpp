#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "TallowbeckCore/platform/SystemValues.hpp"

namespace tallowbeck {

// System values from files below a root path. "machdep.cpu.brand_string" is the first
// "model name" line of <root>/proc/cpuinfo: the text after its ": " exactly as the kernel
// wrote it (blanks included, since the value is compared as a whole) and a terminating zero
// byte, which the length counts. Processors whose cpuinfo has no such line (arm64) have no brand
// string; every other name has no value.
class LinuxSystemValues final : public SystemValues {
public:
    explicit LinuxSystemValues(const std::filesystem::path& root = "/");

    std::optional<std::size_t> valueLength(const char* name) noexcept override;
    std::optional<std::size_t> readValue(const char* name,
                                         std::span<char> buffer) noexcept override;

private:
    // The value's bytes with their terminating zero byte.
    std::optional<std::string> value(const char* name) const noexcept;
    std::optional<std::string> processorModelName() const noexcept;

    std::filesystem::path cpuinfoPath_;
};

}  // namespace tallowbeck
