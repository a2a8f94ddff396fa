#pragma once

#include <array>
#include <string_view>

#include "TallowbeckCore/platform/SystemValues.hpp"

namespace tallowbeck {

// Carries the query whether this machine's processor is one of the M1 family; the load
// generation its name refers to lives outside the library.
class CPULoadSimulator {
public:
    // Compared exactly: case-sensitive, whole text, no trimming.
    static constexpr std::array<std::string_view, 4> supportedProcessors{
        "Apple M1", "Apple M1 Pro", "Apple M1 Max", "Apple M1 Ultra"};

    // Reads the processor brand string anew at every call; an unreadable one is not supported.
    static bool isSupportedProcessor(SystemValues& values = SystemValues::system()) noexcept;
};

}  // namespace tallowbeck
