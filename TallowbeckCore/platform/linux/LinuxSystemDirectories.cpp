#include "TallowbeckCore/platform/SystemDirectories.hpp"

namespace tallowbeck {

// The file system hierarchy's place for state that programs keep between runs.
std::filesystem::path SystemDirectories::serviceState() { return "/var/lib"; }

}  // namespace tallowbeck
