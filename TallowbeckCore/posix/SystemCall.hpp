#pragma once

#include <cerrno>
#include <string>

// Conventions for calls that answer -1 and set errno.
namespace tallowbeck::SystemCall {

// Calls `call` again for as long as a signal interrupts it.
template <typename Call>
auto retryingInterrupted(Call&& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Throws std::system_error (generic category) with errno's code, or EIO when errno holds none.
[[noreturn]] void throwLastError(const std::string& what);

}  // namespace tallowbeck::SystemCall
