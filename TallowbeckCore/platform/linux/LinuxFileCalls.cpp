#include <unistd.h>

#include "TallowbeckCore/platform/FileCalls.hpp"
#include "TallowbeckCore/platform/PosixFileCalls.hpp"

namespace tallowbeck {

const FileCalls& FileCalls::system() noexcept {
    return PosixFileCalls<::fsync, &stat::st_mtim>::table();
}

}  // namespace tallowbeck
