#include <grp.h>

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

}  // namespace

std::unique_ptr<FanBoostHostTransport> openFanHelperTransport(const FanHelperOptions& options) {
    const std::optional<gid_t> admittedGroup =
        options.group ? std::optional<gid_t>(groupID(*options.group)) : std::nullopt;
    return std::make_unique<UnixSocketTransport>(
        options.socket.value_or(std::filesystem::path(FanBoostHelperClient::defaultSocketPath)),
        admittedGroup);
}

}  // namespace tallowbeck::fanhelper
