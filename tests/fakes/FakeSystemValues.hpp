#pragma once

#include <functional>
#include <map>
#include <string>

#include "TallowbeckCore/platform/SystemValues.hpp"

namespace tallowbeck::testing {

// System values from prepared raw bytes per name (a text value's terminating zero byte is part
// of what a test prepares). A read succeeds only into a buffer that holds the whole value.
class FakeSystemValues final : public SystemValues {
public:
    std::map<std::string, std::string, std::less<>> values;
    bool lengthQueryFails = false;
    bool readFails = false;

    int lengthQueries = 0;
    int reads = 0;
    std::size_t lastReadBufferSize = 0;
    bool lastReadBufferZeroed = false;

    std::optional<std::size_t> valueLength(const char* name) noexcept override;
    std::optional<std::size_t> readValue(const char* name,
                                         std::span<char> buffer) noexcept override;
};

}  // namespace tallowbeck::testing
