#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"

namespace tallowbeck::fanhelper {

// What the helper's command line chose.
struct FanHelperOptions {
    // Linux only: where the socket is (FanBoostHelperClient::defaultSocketPath otherwise) and
    // the group whose members may connect besides the superuser and the helper's own user.
    std::optional<std::filesystem::path> socket;
    std::optional<std::string> group;
    std::filesystem::path recoveryFile = FanBoostRecoveryFile::defaultPath();
    // When given, the helper writes its launch definition there and ends.
    std::optional<std::filesystem::path> launchDefinitionFolder;
};

}  // namespace tallowbeck::fanhelper
