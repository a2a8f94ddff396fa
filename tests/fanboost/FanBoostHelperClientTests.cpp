#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostHelperClient.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::TemporaryDirectory;
using testing::thrown;

// A helper that answers the first request with `answer`, byte for byte, and then either closes
// the connection or keeps it open until the client goes.
class ScriptedHelper {
public:
    enum class AfterAnswer { close, stayOpen };

    ScriptedHelper(std::string answer, AfterAnswer after)
        : path_(folder_.path() / "helper.socket"), listener_(listening(path_)) {
        server_ = std::thread([this, answer = std::move(answer), after] { serve(answer, after); });
    }
    ~ScriptedHelper() { server_.join(); }

    const std::filesystem::path& path() const noexcept { return path_; }
    // The request the client sent, once the helper has answered.
    std::optional<std::string> request() const { return request_; }

private:
    static FileDescriptor listening(const std::filesystem::path& path) {
        FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const UnixSocketAddress address(path);
        if (!socket.isOpen() || ::bind(socket.get(), address.get(), address.size()) != 0 ||
            ::listen(socket.get(), 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "listen");
        }
        return socket;
    }

    void serve(const std::string& answer, AfterAnswer after) {
        const FileDescriptor connection(::accept(listener_.get(), nullptr, nullptr));
        request_ = readFrame(connection.get());
        ::send(connection.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        if (after == AfterAnswer::stayOpen) {
            std::array<char, 256> ignored{};
            while (::recv(connection.get(), ignored.data(), ignored.size(), 0) > 0) {
            }
        }
    }

    static std::optional<std::string> readFrame(int connection) {
        FanBoostFrameReader frames;
        std::array<char, 256> buffer{};
        for (;;) {
            if (std::optional<std::string> frame = frames.next()) {
                return frame;
            }
            const ssize_t received = ::recv(connection, buffer.data(), buffer.size(), 0);
            if (received <= 0) {
                return std::nullopt;
            }
            frames.append(std::string_view(buffer.data(), static_cast<std::size_t>(received)));
        }
    }

    TemporaryDirectory folder_;
    std::filesystem::path path_;
    FileDescriptor listener_;
    std::optional<std::string> request_;
    std::thread server_;
};

std::string headerAnnouncing(std::uint32_t length) {
    return {static_cast<char>(length >> 24), static_cast<char>(length >> 16),
            static_cast<char>(length >> 8), static_cast<char>(length)};
}

std::string failureOf(const std::filesystem::path& socket) {
    FanBoostHelperClient client(socket);
    const std::optional<std::runtime_error> error =
        thrown<std::runtime_error>([&] { client.heartbeat(); });
    return error ? error->what() : "no failure";
}

TEST(FanBoostHelperClientTests, ARequestIsOneFrameAndItsAnswerTheStatus) {
    FanBoostStatus answer;
    answer.enabled = true;
    answer.boosting = true;
    ScriptedHelper helper(FanBoostFrame::encode(answer.json()),
                          ScriptedHelper::AfterAnswer::stayOpen);
    {
        FanBoostHelperClient client(helper.path());
        const FanBoostStatus status = client.heartbeat();
        EXPECT_TRUE(status.enabled);
        EXPECT_TRUE(status.boosting);
    }
    EXPECT_EQ(helper.request(), FanBoostRequest::heartbeat());
}

TEST(FanBoostHelperClientTests, AnAnnouncedReplyOverTheLimitFailsAtOnce) {
    const ScriptedHelper helper(headerAnnouncing(FanBoostFrame::maximumPayloadSize + 1),
                                ScriptedHelper::AfterAnswer::stayOpen);
    EXPECT_EQ(failureOf(helper.path()), "the fan helper's reply is too long");
}

TEST(FanBoostHelperClientTests, AHelperThatClosesWithoutAnsweringIsReported) {
    const ScriptedHelper helper("", ScriptedHelper::AfterAnswer::close);
    EXPECT_EQ(failureOf(helper.path()), "the fan helper closed the connection");
}

TEST(FanBoostHelperClientTests, AnAnswerThatIsNotAStatusIsReported) {
    const ScriptedHelper helper(FanBoostFrame::encode(R"({"enabled":true})"),
                                ScriptedHelper::AfterAnswer::stayOpen);
    EXPECT_EQ(failureOf(helper.path()).rfind("the fan helper's reply is not a status: ", 0), 0u);
}

constexpr uid_t nobody = 65534;

// A socket at `path`, bound by the test but listened on by user nobody, whom the kernel then
// names as the peer of whoever connects.
FileDescriptor listenedOnByNobody(const std::filesystem::path& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const UnixSocketAddress address(path);
    if (!socket.isOpen() || ::bind(socket.get(), address.get(), address.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
    testing::ChildProcess listener = testing::ChildProcess::fork(
        [&socket] { return ::setuid(nobody) == 0 && ::listen(socket.get(), 1) == 0 ? 0 : 1; });
    if (listener.waitForExit().exitStatus() != 0) {
        throw std::runtime_error("nobody could not listen");
    }
    return socket;
}

TEST(FanBoostHelperClientTests, AListenerThatIsNeitherTheSuperuserNorTheSocketsOwnerIsRefused) {
    ASSERT_EQ(::geteuid(), 0u) << "listening as another user needs the superuser";
    const TemporaryDirectory folder;
    const std::filesystem::path path = folder.path() / "helper.socket";
    const FileDescriptor listener = listenedOnByNobody(path);
    const std::optional<std::runtime_error> error =
        thrown<std::runtime_error>([&] { FanBoostHelperClient client(path); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(std::string(error->what()),
              "the process listening at " + path.string() +
                  " is neither the superuser nor the socket's owner, so it is not taken for the "
                  "fan helper");
}

TEST(FanBoostHelperClientTests, AListenerThatOwnsTheSocketIsTrusted) {
    ASSERT_EQ(::geteuid(), 0u) << "listening as another user needs the superuser";
    const TemporaryDirectory folder;
    const std::filesystem::path path = folder.path() / "helper.socket";
    const FileDescriptor listener = listenedOnByNobody(path);
    ASSERT_EQ(::chown(path.c_str(), nobody, static_cast<gid_t>(-1)), 0);
    EXPECT_NO_THROW(FanBoostHelperClient client(path));
}

TEST(FanBoostHelperClientTests, NoHelperListeningIsAConnectionError) {
    const TemporaryDirectory folder;
    const std::optional<std::system_error> error = thrown<std::system_error>(
        [&] { FanBoostHelperClient client(folder.path() / "nobody.socket"); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code().value(), ENOENT);
}

}  // namespace
}  // namespace tallowbeck
