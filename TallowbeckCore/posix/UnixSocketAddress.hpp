#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>

namespace tallowbeck {

// The address of a Unix socket file, as bind and connect take it.
class UnixSocketAddress {
public:
    // Throws std::system_error with ENAMETOOLONG when `path` does not fit in an address.
    explicit UnixSocketAddress(const std::filesystem::path& path);

    const sockaddr* get() const noexcept;
    socklen_t size() const noexcept { return sizeof address_; }

private:
    sockaddr_un address_{};
};

}  // namespace tallowbeck
