#include "tests/fakes/FakeSystemValues.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tallowbeck::testing {

std::optional<std::size_t> FakeSystemValues::valueLength(const char* name) noexcept {
    ++lengthQueries;
    const auto value = values.find(std::string_view(name));
    if (lengthQueryFails || value == values.end()) {
        return std::nullopt;
    }
    return value->second.size();
}

std::optional<std::size_t> FakeSystemValues::readValue(const char* name,
                                                       std::span<char> buffer) noexcept {
    ++reads;
    lastReadBufferSize = buffer.size();
    // Every byte equals the first, and the first is zero: one library call, even unoptimised.
    lastReadBufferZeroed =
        buffer.empty() || (buffer[0] == '\0' &&
                           std::memcmp(buffer.data(), buffer.data() + 1, buffer.size() - 1) == 0);
    const auto value = values.find(std::string_view(name));
    if (readFails || value == values.end() || value->second.size() > buffer.size()) {
        return std::nullopt;
    }
    std::ranges::copy(value->second, buffer.begin());
    return value->second.size();
}

}  // namespace tallowbeck::testing
