#include <grp.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHelperClient.hpp"
#include "fanhelper/FanHelperTransport.hpp"
#include "fanhelper/linux/UnixSocketTransport.hpp"

namespace tallowbeck::fanhelper {
namespace {

gid_t groupID(const std::string& name) {
    std::vector<char> buffer(4096);
    group entry{};
    group* found = nullptr;
    int error = 0;
    while ((error = ::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found)) ==
           ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot look up group " + name);
    }
    if (found == nullptr) {
        throw std::invalid_argument("there is no group " + name);
    }
    return entry.gr_gid;
}

// The listening socket the service manager hands over when it starts the helper for a client
// (socket activation); nothing when it was started by hand.
std::optional<FileDescriptor> handedOverSocket() {
    const int count = ::sd_listen_fds(1);
    if (count < 0) {
        throw std::system_error(-count, std::generic_category(),
                                "cannot take the sockets the service manager passed");
    }
    if (count == 0) {
        return std::nullopt;
    }
    if (count != 1 || ::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) <= 0) {
        throw std::invalid_argument(
            "the service manager must pass exactly one listening Unix stream socket");
    }
    return FileDescriptor(SD_LISTEN_FDS_START);
}

}  // namespace

std::unique_ptr<FanBoostHostTransport> openFanHelperTransport(const FanHelperOptions& options) {
    const std::optional<gid_t> admittedGroup =
        options.group ? std::optional<gid_t>(groupID(*options.group)) : std::nullopt;
    if (std::optional<FileDescriptor> listening = handedOverSocket()) {
        return std::make_unique<UnixSocketTransport>(std::move(*listening), admittedGroup);
    }
    return std::make_unique<UnixSocketTransport>(
        options.socket.value_or(std::filesystem::path(FanBoostHelperClient::defaultSocketPath)),
        admittedGroup);
}

}  // namespace tallowbeck::fanhelper
