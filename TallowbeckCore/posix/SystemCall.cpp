#include "TallowbeckCore/posix/SystemCall.hpp"

#include <system_error>

namespace tallowbeck::SystemCall {

void throwLastError(const std::string& what) {
    const int code = errno != 0 ? errno : EIO;
    throw std::system_error(code, std::generic_category(), what);
}

}  // namespace tallowbeck::SystemCall
