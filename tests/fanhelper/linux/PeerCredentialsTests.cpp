#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "fanhelper/linux/PeerCredentials.hpp"

namespace tallowbeck::fanhelper {
namespace {

constexpr uid_t helperUser = 501;
constexpr gid_t admitted = 80;

PeerCredentials peer(uid_t user, gid_t group, std::vector<gid_t> groups = {}) {
    return {
        .process = 1234, .user = user, .group = group, .supplementaryGroups = std::move(groups)};
}

TEST(PeerCredentialsTests, TheSuperuserAndTheHelpersOwnUserMayAlwaysConnect) {
    EXPECT_TRUE(peer(0, 20).mayUseHelper(helperUser, std::nullopt));
    EXPECT_TRUE(peer(helperUser, 20).mayUseHelper(helperUser, std::nullopt));
    EXPECT_TRUE(peer(0, 20).mayUseHelper(helperUser, admitted));
}

TEST(PeerCredentialsTests, AnyOtherUserOnlyAsAMemberOfTheAdmittedGroup) {
    EXPECT_FALSE(peer(502, admitted).mayUseHelper(helperUser, std::nullopt));
    EXPECT_FALSE(peer(502, 20, {12, 33}).mayUseHelper(helperUser, admitted));
    EXPECT_TRUE(peer(502, admitted).mayUseHelper(helperUser, admitted));
    EXPECT_TRUE(peer(502, 20, {12, admitted, 33}).mayUseHelper(helperUser, admitted));
}

TEST(PeerCredentialsTests, TheKernelTellsWhoIsAtTheOtherEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const FileDescriptor mine(ends[0]);
    const FileDescriptor theirs(ends[1]);
    const PeerCredentials credentials = PeerCredentials::of(mine.get());
    EXPECT_EQ(credentials.process, ::getpid());
    EXPECT_EQ(credentials.user, ::geteuid());
    EXPECT_EQ(credentials.group, ::getegid());
    std::vector<gid_t> groups(static_cast<std::size_t>(::getgroups(0, nullptr)));
    groups.resize(
        static_cast<std::size_t>(::getgroups(static_cast<int>(groups.size()), groups.data())));
    std::vector<gid_t> told = credentials.supplementaryGroups;
    std::ranges::sort(groups);
    std::ranges::sort(told);
    EXPECT_EQ(told, groups);
}

TEST(PeerCredentialsTests, ADescriptorThatIsNoSocketHasNoPeer) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const FileDescriptor reader(pipe[0]);
    const FileDescriptor writer(pipe[1]);
    EXPECT_THROW(PeerCredentials::of(reader.get()), std::system_error);
}

}  // namespace
}  // namespace tallowbeck::fanhelper
