#pragma once

#include <chrono>
#include <functional>

namespace tallowbeck::testing {

// Polls `condition` every `interval` until it holds or `timeout` has passed; tells which.
bool becomesTrueWithin(std::chrono::milliseconds timeout, const std::function<bool()>& condition,
                       std::chrono::milliseconds interval = std::chrono::milliseconds(5));

}  // namespace tallowbeck::testing
