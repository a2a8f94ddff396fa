#pragma once

#include <memory>

#include "TallowbeckCore/fanboost/FanBoostHostTransport.hpp"
#include "fanhelper/FanHelperOptions.hpp"

namespace tallowbeck::fanhelper {

// The way clients reach the helper on this system, listening from when it returns: a Unix
// socket on Linux (linux/), the platform's inter-process connection on macOS (darwin/). Throws
// std::exception naming the reason when it cannot listen.
std::unique_ptr<FanBoostHostTransport> openFanHelperTransport(const FanHelperOptions& options);

}  // namespace tallowbeck::fanhelper
