// The helper's socket server in this process, with raw clients: framing, refusals, ordering,
// fairness, limits, who may connect, and what it leaves behind.

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/ForwardingFanBoostHelper.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "fanhelper/linux/UnixSocketTransport.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/SocketClient.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck::fanhelper {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Event = FanBoostHostTransport::Event;
using Kind = Event::Kind;
using Operation = FanBoostRequest::Operation;
using testing::ChildProcess;
using testing::SocketClient;

constexpr uid_t nobody = 65534;
constexpr gid_t noGroup = 65534;
constexpr gid_t admittedGroup = 4242;
constexpr auto patience = 5s;

std::string frame(std::string_view payload) { return FanBoostFrame::encode(payload); }

std::string header(std::uint32_t length) {
    return {static_cast<char>(length >> 24), static_cast<char>((length >> 16) & 0xFF),
            static_cast<char>((length >> 8) & 0xFF), static_cast<char>(length & 0xFF)};
}

std::string statusSaying(std::string_view text) { return ForwardingFanBoostHelper::refusal(text); }

// Something has come for the client, or its connection has ended.
bool hasNews(const SocketClient& client) {
    pollfd readable{client.descriptor(), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 1;
}

// Without the one the listing itself used.
std::set<int> openDescriptors() {
    std::set<int> descriptors;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename().string()));
    }
    std::erase_if(descriptors, [](int descriptor) { return ::fcntl(descriptor, F_GETFD) < 0; });
    return descriptors;
}

class UnixSocketTransportTests : public ::testing::Test {
protected:
    UnixSocketTransport& transport(std::optional<gid_t> group = std::nullopt) {
        if (!transport_) {
            transport_.emplace(socket, group);
        }
        return *transport_;
    }

    // Waits on the transport until `count` events have come; fails the test after `patience`.
    std::vector<Event> events(std::size_t count) {
        std::vector<Event> collected;
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (collected.size() < count && std::chrono::steady_clock::now() < deadline) {
            for (Event& event : transport().wait(0.02)) {
                collected.push_back(std::move(event));
            }
        }
        EXPECT_EQ(collected.size(), count);
        return collected;
    }

    Event nextEvent() {
        std::vector<Event> one = events(1);
        return one.empty() ? Event{} : std::move(one.front());
    }

    // A client whose connection the transport has taken.
    SocketClient connected() {
        SocketClient client(socket);
        const Event event = nextEvent();
        EXPECT_EQ(event.kind, Kind::connected);
        return client;
    }

    // Serves until `done` holds, answering every request with its operation's number.
    void serveUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            for (const Event& event : transport().wait(0.02)) {
                if (event.kind == Kind::request) {
                    event.reply(statusSaying(std::to_string(static_cast<int>(event.operation))));
                }
            }
        }
        EXPECT_TRUE(done());
    }

    testing::TemporaryDirectory directory;
    fs::path socket = directory.path() / "helper.socket";

private:
    std::optional<UnixSocketTransport> transport_;
};

TEST_F(UnixSocketTransportTests, TheSocketIsTheHelpersUsersAlone) {
    transport();
    struct stat status {};
    ASSERT_EQ(::stat(socket.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

TEST_F(UnixSocketTransportTests, AnAdmittedGroupMayUseTheSocketToo) {
    transport(admittedGroup);
    struct stat status {};
    ASSERT_EQ(::stat(socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660u);
    EXPECT_EQ(status.st_gid, admittedGroup);
}

TEST_F(UnixSocketTransportTests, EveryDescriptorItOpensIsClosedOnExec) {
    const std::set<int> before = openDescriptors();
    transport();
    SocketClient client = connected();
    int checked = 0;
    for (const int descriptor : openDescriptors()) {
        if (!before.contains(descriptor)) {
            EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << "descriptor " << descriptor;
            ++checked;
        }
    }
    // The signal descriptor, the listener, the accepted connection and the client.
    EXPECT_EQ(checked, 4);
}

TEST_F(UnixSocketTransportTests, ItLeavesNoSocketNorBlockedSignalsBehind) {
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    {
        const UnixSocketTransport listening(socket, std::nullopt);
        sigset_t during;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &during);
        EXPECT_EQ(sigismember(&during, SIGTERM), 1);
        EXPECT_EQ(sigismember(&during, SIGINT), 1);
    }
    EXPECT_FALSE(fs::exists(socket));
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM));
    EXPECT_EQ(sigismember(&after, SIGINT), sigismember(&before, SIGINT));
}

TEST_F(UnixSocketTransportTests, ASocketLeftByADeadHelperIsReplaced) {
    {
        const FileDescriptor stale(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const UnixSocketAddress address(socket);
        ASSERT_EQ(::bind(stale.get(), address.get(), address.size()), 0);
    }
    ASSERT_TRUE(fs::exists(socket));
    transport();
    SocketClient client = connected();
    client.send(frame(FanBoostRequest::heartbeat()));
    EXPECT_EQ(nextEvent().operation, Operation::heartbeat);
}

TEST_F(UnixSocketTransportTests, ALiveHelpersSocketIsLeftAlone) {
    transport();
    const auto error = testing::thrown<std::system_error>(
        [&] { UnixSocketTransport second(socket, std::nullopt); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::address_in_use);
    // It found the first one alive by connecting to it.
    const std::vector<Event> probe = events(2);
    ASSERT_EQ(probe.size(), 2u);
    EXPECT_EQ(probe[0].kind, Kind::connected);
    EXPECT_EQ(probe[1].kind, Kind::disconnected);
    SocketClient stillServed = connected();
}

TEST_F(UnixSocketTransportTests, AFileInTheWayIsNeitherRemovedNorUsed) {
    directory.write("helper.socket", "precious");
    const auto error =
        testing::thrown<std::system_error>([&] { UnixSocketTransport refused(socket, {}); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::file_exists);
    std::ifstream kept(socket);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "precious");
}

TEST_F(UnixSocketTransportTests, ARequestIsAnEventAndItsReplyAFrame) {
    transport();
    SocketClient client = connected();
    const std::string begin =
        FanBoostRequest::begin({.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 75.0});
    client.send(frame(begin));
    const Event request = nextEvent();
    EXPECT_EQ(request.kind, Kind::request);
    EXPECT_EQ(request.operation, Operation::begin);
    EXPECT_EQ(request.request, begin);
    request.reply(statusSaying("begun"));
    EXPECT_EQ(client.receiveFrame(), statusSaying("begun"));
}

TEST_F(UnixSocketTransportTests, HalfAFrameWaitsForItsRest) {
    transport();
    SocketClient client = connected();
    const std::string whole = frame(FanBoostRequest::stop());
    client.send(whole.substr(0, 3));
    for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(transport().wait(0.01).empty());
    }
    client.send(whole.substr(3, 5));
    EXPECT_TRUE(transport().wait(0.01).empty());
    client.send(whole.substr(8));
    EXPECT_EQ(nextEvent().operation, Operation::stop);
}

TEST_F(UnixSocketTransportTests, AClientsRequestsAreHandedOverOneAtATimeAndAnsweredInOrder) {
    transport();
    SocketClient client = connected();
    client.send(frame(FanBoostRequest::heartbeat()) + frame(FanBoostRequest::stop()) +
                frame("{nonsense") + frame(FanBoostRequest::heartbeat()));
    const Event first = nextEvent();
    EXPECT_EQ(first.operation, Operation::heartbeat);
    // Nothing more is handed over before the host has answered.
    EXPECT_TRUE(transport().wait(0.01).empty());
    first.reply(statusSaying("one"));
    const Event second = nextEvent();
    EXPECT_EQ(second.operation, Operation::stop);
    second.reply(statusSaying("two"));
    const Event fourth = nextEvent();
    EXPECT_EQ(fourth.operation, Operation::heartbeat);
    fourth.reply(statusSaying("four"));
    EXPECT_EQ(client.receiveFrame(), statusSaying("one"));
    EXPECT_EQ(client.receiveFrame(), statusSaying("two"));
    EXPECT_EQ(client.receiveFrame(), statusSaying(FanBoostRequest::malformedMessage));
    EXPECT_EQ(client.receiveFrame(), statusSaying("four"));
}

TEST_F(UnixSocketTransportTests,
       MalformedRequestsAndUnknownOperationsAreRefusedOnAConnectionThatStays) {
    transport();
    SocketClient client = connected();
    client.send(frame(""));
    client.send(frame(R"({"operation":"format the disk"})"));
    client.send(frame(std::string("\x00\x01\xff", 3)));
    const std::vector<Event> none = [&] {
        std::vector<Event> seen;
        for (int round = 0; round < 10; ++round) {
            for (Event& event : transport().wait(0.01)) {
                seen.push_back(std::move(event));
            }
        }
        return seen;
    }();
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(client.receiveFrame(), statusSaying(FanBoostRequest::malformedMessage));
    EXPECT_EQ(client.receiveFrame(), statusSaying(FanBoostRequest::unknownOperationMessage));
    EXPECT_EQ(client.receiveFrame(), statusSaying(FanBoostRequest::malformedMessage));
    client.send(frame(FanBoostRequest::heartbeat()));
    EXPECT_EQ(nextEvent().operation, Operation::heartbeat);
}

TEST_F(UnixSocketTransportTests, AFrameOfMoreThan64KiBIsRefusedAndTheConnectionClosed) {
    transport();
    SocketClient client = connected();
    client.send(header(FanBoostFrame::maximumPayloadSize + 1) + std::string(1000, '{'));
    const Event closed = nextEvent();
    EXPECT_EQ(closed.kind, Kind::disconnected);
    EXPECT_EQ(client.receiveFrame(), statusSaying(FanBoostRequest::oversizedMessage));
    EXPECT_EQ(client.receiveFrame(), std::nullopt);
    EXPECT_EQ(transport().connectionCount(), 0u);
}

TEST_F(UnixSocketTransportTests, AClientThatGoesIsReported) {
    transport();
    SocketClient client = connected();
    client.send(frame(FanBoostRequest::heartbeat()).substr(0, 6));
    client.close();
    EXPECT_EQ(nextEvent().kind, Kind::disconnected);
    EXPECT_EQ(transport().connectionCount(), 0u);
}

TEST_F(UnixSocketTransportTests, AStopSignalIsAShutdown) {
    transport();
    ASSERT_EQ(::raise(SIGTERM), 0);
    EXPECT_EQ(nextEvent().kind, Kind::shutdown);
    ASSERT_EQ(::raise(SIGINT), 0);
    EXPECT_EQ(nextEvent().kind, Kind::shutdown);
}

TEST_F(UnixSocketTransportTests, AClientThatDoesNotReadItsRepliesHoldsUpNobodyElse) {
    transport();
    SocketClient greedy = connected();
    std::string batch;
    for (int index = 0; index < 100; ++index) {
        batch += frame(FanBoostRequest::heartbeat());
    }
    std::size_t sent = 0;
    while (sent < 20'000 && greedy.trySend(batch)) {
        sent += 100;
    }
    ASSERT_GE(sent, 2000u);
    // Long replies fill the greedy client's buffers soon; a transport that went on reading
    // would answer in every round.
    const std::string longReply = statusSaying(std::string(2000, 'x'));
    std::size_t answered = 0;
    constexpr int rounds = 2000;
    for (int round = 0; round < rounds; ++round) {
        for (const Event& event : transport().wait(0)) {
            if (event.kind == Kind::request) {
                event.reply(longReply);
                ++answered;
            }
        }
    }
    EXPECT_LT(answered, static_cast<std::size_t>(rounds) / 2);
    SocketClient polite(socket);
    polite.send(frame(FanBoostRequest::stop()));
    serveUntil([&] { return hasNews(polite); });
    EXPECT_EQ(polite.receiveFrame(), statusSaying("2"));
}

// Runs `work` as user nobody in group nogroup, with `groups` as its supplementary groups. The
// test's folder must let others through.
ChildProcess asNobody(std::vector<gid_t> groups, const std::function<int()>& work) {
    return ChildProcess::fork([groups, work] {
        if (::setgroups(groups.size(), groups.data()) != 0 || ::setgid(noGroup) != 0 ||
            ::setuid(nobody) != 0) {
            return 3;
        }
        return work();
    });
}

TEST_F(UnixSocketTransportTests, APeerThatIsNeitherTheHelpersUserNorAdmittedIsTurnedAway) {
    ASSERT_EQ(::geteuid(), 0u) << "acting as another user needs the superuser";
    fs::permissions(directory.path(), fs::perms::others_exec, fs::perm_options::add);
    transport();
    // Past the file's permissions, the peer's credentials still keep it out.
    ASSERT_EQ(::chmod(socket.c_str(), 0666), 0);
    ChildProcess peer = asNobody({}, [this] {
        SocketClient client(socket);
        return client.receiveFrame() ? 1 : 0;
    });
    std::optional<testing::ChildExit> exit;
    serveUntil([&] { return exit || (exit = peer.exitWithin(0ms)); });
    ASSERT_TRUE(exit.has_value());
    EXPECT_EQ(exit->shellStatus(), 0);
    EXPECT_EQ(transport().connectionCount(), 0u);
}

TEST_F(UnixSocketTransportTests, AMemberOfTheAdmittedGroupIsServed) {
    ASSERT_EQ(::geteuid(), 0u) << "acting as another user needs the superuser";
    fs::permissions(directory.path(), fs::perms::others_exec, fs::perm_options::add);
    transport(admittedGroup);
    ChildProcess member = asNobody({admittedGroup}, [this] {
        SocketClient client(socket);
        return client.ask(FanBoostRequest::stop()).error == "2" ? 0 : 1;
    });
    std::optional<testing::ChildExit> exit;
    serveUntil([&] { return exit || (exit = member.exitWithin(0ms)); });
    ASSERT_TRUE(exit.has_value());
    EXPECT_EQ(exit->shellStatus(), 0);
}

TEST_F(UnixSocketTransportTests, WithoutTheGroupTheFilesPermissionsKeepOthersOut) {
    ASSERT_EQ(::geteuid(), 0u) << "acting as another user needs the superuser";
    fs::permissions(directory.path(), fs::perms::others_exec, fs::perm_options::add);
    transport(admittedGroup);
    ChildProcess outsider = asNobody({}, [this] {
        try {
            SocketClient client(socket);
        } catch (const std::system_error& error) {
            return error.code() == std::errc::permission_denied ? 0 : 2;
        }
        return 1;
    });
    EXPECT_EQ(outsider.waitForExit(patience).shellStatus(), 0);
}

TEST_F(UnixSocketTransportTests, AUsersConnectionsBeyondTheLimitAreClosedWhileOthersAreServed) {
    ASSERT_EQ(::geteuid(), 0u) << "acting as another user needs the superuser";
    fs::permissions(directory.path(), fs::perms::others_exec, fs::perm_options::add);
    transport(admittedGroup);
    std::vector<SocketClient> clients;
    for (std::size_t index = 0; index < UnixSocketTransport::maximumConnectionsPerUser; ++index) {
        clients.emplace_back(socket);
    }
    serveUntil([&] {
        return transport().connectionCount() == UnixSocketTransport::maximumConnectionsPerUser;
    });
    SocketClient oneTooMany(socket);
    serveUntil([&] { return hasNews(oneTooMany); });
    EXPECT_EQ(oneTooMany.receiveFrame(), std::nullopt);
    // Another user is not locked out by the first one's connections.
    ChildProcess member = asNobody({admittedGroup}, [this] {
        SocketClient client(socket);
        return client.ask(FanBoostRequest::stop()).error == "2" ? 0 : 1;
    });
    std::optional<testing::ChildExit> exit;
    serveUntil([&] { return exit || (exit = member.exitWithin(0ms)); });
    ASSERT_TRUE(exit.has_value());
    EXPECT_EQ(exit->shellStatus(), 0);
    // A connection that closes makes room for one more of the same user.
    clients.pop_back();
    serveUntil([&] {
        return transport().connectionCount() < UnixSocketTransport::maximumConnectionsPerUser;
    });
    SocketClient again(socket);
    again.send(frame(FanBoostRequest::heartbeat()));
    serveUntil([&] { return hasNews(again); });
    EXPECT_EQ(again.receiveFrame(), statusSaying("1"));
}

// Plays the member of the admitted group who swaps the helper's new socket for a link to a file
// of their choice right after it is made.
class LinkSwappingCalls final : public SocketFileCalls {
public:
    explicit LinkSwappingCalls(fs::path target) : target_(std::move(target)) {}

    int bind(int socket, const UnixSocketAddress& address) override {
        const int result = SocketFileCalls::bind(socket, address);
        const fs::path path = reinterpret_cast<const sockaddr_un*>(address.get())->sun_path;
        fs::remove(path);
        fs::create_symlink(target_, path);
        return result;
    }

private:
    fs::path target_;
};

TEST_F(UnixSocketTransportTests, ALinkInPlaceOfTheNewSocketLeavesItsTargetAlone) {
    const fs::path target = directory.write("precious", "secret\n");
    ASSERT_EQ(::chown(target.c_str(), nobody, noGroup), 0);
    ASSERT_EQ(::chmod(target.c_str(), 0600), 0);
    LinkSwappingCalls swapping(target);
    const auto error = testing::thrown<std::system_error>(
        [&] { UnixSocketTransport attacked(socket, admittedGroup, swapping); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::operation_not_permitted);
    struct stat status {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, nobody);
    EXPECT_EQ(status.st_gid, noGroup);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(UnixSocketTransportTests, TheSocketIsBornWithItsFinalMode) {
    // Seen from inside the bind: no moment passes with the socket open to more than it will be.
    class ModeNotingCalls final : public SocketFileCalls {
    public:
        int bind(int socket, const UnixSocketAddress& address) override {
            const int result = SocketFileCalls::bind(socket, address);
            struct stat status {};
            ::lstat(reinterpret_cast<const sockaddr_un*>(address.get())->sun_path, &status);
            modeAtBirth = status.st_mode & 07777;
            return result;
        }
        mode_t modeAtBirth = 0;
    } noting;
    const UnixSocketTransport listening(socket, admittedGroup, noting);
    EXPECT_EQ(noting.modeAtBirth, 0660u);
}

}  // namespace
}  // namespace tallowbeck::fanhelper
