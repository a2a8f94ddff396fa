#include "TallowbeckCore/posix/UnixSocketAddress.hpp"

#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

namespace tallowbeck {

UnixSocketAddress::UnixSocketAddress(const std::filesystem::path& path) {
    address_.sun_family = AF_UNIX;
    const std::string& text = path.native();
    if (text.size() >= sizeof address_.sun_path) {
        throw std::system_error(ENAMETOOLONG, std::generic_category(), text);
    }
    std::memcpy(address_.sun_path, text.c_str(), text.size() + 1);
}

const sockaddr* UnixSocketAddress::get() const noexcept {
    // The socket interface takes every kind of address through this one type.
    return reinterpret_cast<const sockaddr*>(&address_);
}

}  // namespace tallowbeck
