#include "TallowbeckCore/platform/SystemDirectories.hpp"

namespace tallowbeck {

// The local domain's application support folder, where daemons keep their data.
std::filesystem::path SystemDirectories::serviceState() { return "/Library/Application Support"; }

}  // namespace tallowbeck
