#include <gtest/gtest.h>
#include <sys/un.h>

#include <cstring>
#include <string>
#include <system_error>

#include "TallowbeckCore/posix/UnixSocketAddress.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

constexpr std::size_t pathCapacity = sizeof(sockaddr_un::sun_path);

TEST(UnixSocketAddressTests, ItNamesTheSocketFile) {
    const UnixSocketAddress address("/run/helper.socket");
    const auto* raw = reinterpret_cast<const sockaddr_un*>(address.get());
    EXPECT_EQ(raw->sun_family, AF_UNIX);
    EXPECT_STREQ(raw->sun_path, "/run/helper.socket");
    EXPECT_EQ(address.size(), sizeof(sockaddr_un));
}

TEST(UnixSocketAddressTests, ThePathMustFitWithItsEndingZero) {
    const std::string longest = "/" + std::string(pathCapacity - 2, 'x');
    const UnixSocketAddress fits(longest);
    EXPECT_EQ(std::strlen(reinterpret_cast<const sockaddr_un*>(fits.get())->sun_path),
              pathCapacity - 1);
    const auto error =
        testing::thrown<std::system_error>([&] { UnixSocketAddress tooLong(longest + "x"); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::errc::filename_too_long);
}

}  // namespace
}  // namespace tallowbeck
