#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/PosixFile.hpp"
#include "tests/fakes/ForwardingFileCalls.hpp"
#include "tests/testing/TemporaryDirectory.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using testing::thrown;

constexpr std::size_t spare = 64;

// Says the file has `reportedSize` bytes, whatever it holds, and hands out at most
// `largestRead` bytes a call.
class MisreportingFile final : public testing::ForwardingFileCalls {
public:
    MisreportingFile(std::uint64_t reportedSize, std::size_t largestRead)
        : reportedSize_(reportedSize), largestRead_(largestRead) {}

    int fstat(int descriptor, FileAttributes& attributes) override {
        const int result = ForwardingFileCalls::fstat(descriptor, attributes);
        attributes.size = reportedSize_;
        return result;
    }
    ssize_t read(int descriptor, void* bytes, std::size_t count) override {
        return ForwardingFileCalls::read(descriptor, bytes, std::min(count, largestRead_));
    }

private:
    std::uint64_t reportedSize_;
    std::size_t largestRead_;
};

class FailingRead final : public testing::ForwardingFileCalls {
public:
    ssize_t read(int, void*, std::size_t) override {
        errno = EIO;
        return -1;
    }
};

class PosixFileTests : public ::testing::Test {
protected:
    std::string readAll(FileCalls& calls, const std::string& content) {
        const FileDescriptor file(::open(directory_.write("file", content).c_str(), O_RDONLY));
        return PosixFile::readAll(calls, file.get(), "the file", spare);
    }

private:
    testing::TemporaryDirectory directory_;
};

TEST_F(PosixFileTests, ReadsTheWholeFileWithRoomAfterIt) {
    const std::string content(200000, 'x');
    const std::string read = readAll(FileCalls::system(), content);
    EXPECT_EQ(read, content);
    EXPECT_GE(read.capacity() - read.size(), spare);
    EXPECT_EQ(readAll(FileCalls::system(), ""), "");
}

TEST_F(PosixFileTests, AFileLargerOrSmallerThanItsSizeSaidIsReadToItsEnd) {
    const std::string content = "0123456789abcdefghij";
    for (const std::uint64_t reportedSize : {0U, 7U, 20U, 100U}) {
        MisreportingFile calls(reportedSize, 3);
        const std::string read = readAll(calls, content);
        EXPECT_EQ(read, content) << reportedSize;
        EXPECT_GE(read.capacity() - read.size(), spare) << reportedSize;
    }
    // Past the size it was said to have, the file is read in chunks of its own.
    const std::string large(300000, 'y');
    MisreportingFile calls(10, large.size());
    EXPECT_EQ(readAll(calls, large), large);
}

TEST_F(PosixFileTests, AReadThatFailsNamesTheFileAndTheCause) {
    FailingRead calls;
    const auto error = thrown<std::system_error>([&] { readAll(calls, "content"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), std::errc::io_error);
    EXPECT_NE(std::string(error->what()).find("cannot read the file"), std::string::npos)
        << error->what();
}

}  // namespace
}  // namespace tallowbeck
