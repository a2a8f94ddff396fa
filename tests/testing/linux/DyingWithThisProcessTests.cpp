#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/DyingWithThisProcess.hpp"
#include "tests/testing/Subreaper.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

TEST(DyingWithThisProcessTests, TheProgramIsKilledWhenTheProcessThatStartedItEnds) {
    const Subreaper subreaper;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const FileDescriptor readEnd(ends[0]);
    const FileDescriptor writeEnd(ends[1]);
    ChildProcess starter = ChildProcess::fork([&] {
        ChildProcess program =
            ChildProcess::start("/bin/sleep", {"60"}, {}, dyingWithThisProcess());
        const pid_t pid = program.pid();
        static_cast<void>(::write(writeEnd.get(), &pid, sizeof pid));
        // Ends without killing the program, as a crash would.
        ::_exit(0);
        return 0;
    });
    pid_t pid = -1;
    ASSERT_EQ(::read(readEnd.get(), &pid, sizeof pid), static_cast<ssize_t>(sizeof pid));
    ASSERT_EQ(starter.waitForExit().exitStatus(), 0);

    // An orphan now, adopted by this process as its subreaper.
    ChildProcess program = ChildProcess::adopt(pid);
    EXPECT_EQ(program.waitForExit(10s).shellStatus(), 128 + SIGKILL);
}

}  // namespace
}  // namespace tallowbeck::testing
