#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>

#include "cli/AwakeEnding.hpp"
#include "cli/SessionClock.hpp"
#include "cli/SystemAwakeEvents.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using cli::AwakeEnding;
using cli::SessionClock;
using cli::SystemAwakeEvents;
using testing::ChildProcess;
using testing::thrown;

// Far longer than any event here takes to arrive; reaching it fails the test.
constexpr double patienceSeconds = 60.0;

std::optional<AwakeEnding> nextEnding(SystemAwakeEvents& events) {
    return events.waitUntil(SessionClock::system().steadyTime() + patienceSeconds);
}

TEST(SystemAwakeEventsTests, AProcessThatIsNoMoreCannotBeWatched) {
    ChildProcess ended = ChildProcess::fork([] { return 0; });
    const pid_t pid = ended.pid();
    ended.waitForExit();

    const std::optional<std::invalid_argument> error = thrown<std::invalid_argument>(
        [&] { SystemAwakeEvents events(SessionClock::system(), {}, pid); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(std::string(error->what()),
              "there is no process " + std::to_string(pid) + " to watch");
}

TEST(SystemAwakeEventsTests, ACommandKilledByASignalEndsWithTheShellsStatusForIt) {
    SystemAwakeEvents events(SessionClock::system(), {"/bin/sh", "-c", "kill -KILL $$"},
                             std::nullopt);
    events.begin();

    const std::optional<AwakeEnding> ending = nextEnding(events);

    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus(), 128 + SIGKILL);
}

TEST(SystemAwakeEventsTests, EveryStopSignalEndsTheSessionNamingIt) {
    for (const int signal : SystemAwakeEvents::stopSignals) {
        SystemAwakeEvents events(SessionClock::system(), {}, std::nullopt);
        events.begin();
        ASSERT_EQ(::raise(signal), 0);

        EXPECT_EQ(nextEnding(events), AwakeEnding::stopSignal(signal)) << signal;
    }
}

}  // namespace
}  // namespace tallowbeck
