#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace tallowbeck {

// Named system values ("machdep.cpu.brand_string", "hw.model"), read as raw bytes the way the
// system hands them out: text values end with a zero byte that the length includes.
class SystemValues {
public:
    virtual ~SystemValues() = default;

    // The value's length in bytes, or nothing when it cannot be read.
    virtual std::optional<std::size_t> valueLength(const char* name) noexcept = 0;
    // Copies the value into `buffer` and gives the number of bytes written, or nothing when the
    // value cannot be read or does not fit.
    virtual std::optional<std::size_t> readValue(const char* name,
                                                 std::span<char> buffer) noexcept = 0;

    static SystemValues& system();
};

}  // namespace tallowbeck
