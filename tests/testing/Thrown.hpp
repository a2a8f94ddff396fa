#pragma once

#include <optional>
#include <utility>

namespace tallowbeck::testing {

// The `Error` that `operation` throws, or nothing when it returns normally. Any other exception
// passes through, so a test sees it as a failure of its own.
template <typename Error, typename Operation>
std::optional<Error> thrown(Operation&& operation) {
    try {
        std::forward<Operation>(operation)();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

}  // namespace tallowbeck::testing
