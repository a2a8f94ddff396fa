#pragma once

#include <string_view>

// What the status application and the privileged fan helper must agree on to find and trust each
// other. Each text ends with a zero byte, so `.data()` can be handed to C interfaces as it is.
namespace tallowbeck::FanBoostService {

// The helper's service name: the application connects under it and the helper listens under it.
inline constexpr std::string_view name = "com.tallowbeck.Quillmoss.FanHelper";
// The file name of the helper's launch definition, installed with the system service manager.
inline constexpr std::string_view plistName = "com.tallowbeck.Quillmoss.FanHelper.plist";
// The code-signing requirement the client (the status application) must satisfy.
inline constexpr std::string_view clientRequirement =
    "anchor apple generic and identifier \"com.tallowbeck.Ordwell\" and certificate "
    "leaf[subject.OU] = \"R4VN8PLE2W\"";
// The code-signing requirement the helper must satisfy.
inline constexpr std::string_view helperRequirement =
    "anchor apple generic and identifier \"TallowbeckFanHelper\" and certificate "
    "leaf[subject.OU] = \"R4VN8PLE2W\"";

}  // namespace tallowbeck::FanBoostService
