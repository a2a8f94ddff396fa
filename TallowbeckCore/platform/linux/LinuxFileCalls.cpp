#include <unistd.h>

#include "TallowbeckCore/posix/FileCalls.hpp"
#include "TallowbeckCore/posix/PosixFileCalls.hpp"

namespace tallowbeck {

FileCalls& FileCalls::system() noexcept {
    static PosixFileCalls<::fsync, &stat::st_mtim> calls;
    return calls;
}

}  // namespace tallowbeck
