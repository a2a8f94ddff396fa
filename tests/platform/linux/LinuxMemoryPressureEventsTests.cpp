#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "TallowbeckCore/platform/linux/LinuxMemoryPressureEvents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using namespace std::chrono_literals;
using Clock = LinuxMemoryPressureEvents::Clock;
using Decision = LinuxMemoryPressureEvents::Decision;
using TriggerTimes = LinuxMemoryPressureEvents::TriggerTimes;

constexpr std::uint64_t normal = MemoryPressureEvents::normalFlag;
constexpr std::uint64_t warning = MemoryPressureEvents::warningFlag;
constexpr std::uint64_t critical = MemoryPressureEvents::criticalFlag;
constexpr Clock::duration quiet = 5s;

const Clock::time_point start = Clock::now();

Decision decideAt(const TriggerTimes& fired, Clock::duration sinceStart) {
    return LinuxMemoryPressureEvents::decide(fired, start + sinceStart, quiet);
}

// Decisions

TEST(LinuxMemoryPressureEventsTests, NoTriggerYetIsNormalWithNothingToRecheck) {
    EXPECT_EQ(decideAt({}, 10s), (Decision{.flags = normal, .recheckAfter = std::nullopt}));
}

TEST(LinuxMemoryPressureEventsTests, SomeStallIsWarningUntilTheQuietPeriodEnds) {
    EXPECT_EQ(decideAt({.some = start}, 1s), (Decision{.flags = warning, .recheckAfter = 4s}));
}

TEST(LinuxMemoryPressureEventsTests, FullStallIsCritical) {
    EXPECT_EQ(decideAt({.full = start}, 2s), (Decision{.flags = critical, .recheckAfter = 3s}));
}

TEST(LinuxMemoryPressureEventsTests, FullStallWinsOverALaterSomeStall) {
    EXPECT_EQ(decideAt({.some = start + 2s, .full = start}, 3s),
              (Decision{.flags = critical, .recheckAfter = 2s}));
}

TEST(LinuxMemoryPressureEventsTests, CriticalFallsToWarningWhileSomeStallIsRecent) {
    EXPECT_EQ(decideAt({.some = start + 4s, .full = start}, 6s),
              (Decision{.flags = warning, .recheckAfter = 3s}));
}

TEST(LinuxMemoryPressureEventsTests, QuietPeriodOverIsNormal) {
    EXPECT_EQ(decideAt({.some = start, .full = start}, quiet), Decision{});
    EXPECT_EQ(decideAt({.some = start}, 60s), Decision{});
}

TEST(LinuxMemoryPressureEventsTests, JustInsideTheQuietPeriodIsStillElevated) {
    EXPECT_EQ(decideAt({.some = start}, quiet - 1ms).flags, warning);
    EXPECT_EQ(decideAt({.full = start}, quiet - 1ms).flags, critical);
}

TEST(LinuxMemoryPressureEventsTests, TriggersFiringAtTheirOwnMomentsDoNotFlap) {
    // Each trigger fires once per 2 s window, offset from the other.
    TriggerTimes fired;
    std::vector<std::uint64_t> levels;
    for (Clock::duration at = 0s; at < 10s; at += 1s) {
        if (at / 1s % 2 == 0) {
            fired.some = start + at;
        } else {
            fired.full = start + at;
        }
        levels.push_back(decideAt(fired, at).flags);
    }
    EXPECT_THAT(levels, ::testing::ElementsAre(warning, critical, critical, critical, critical,
                                               critical, critical, critical, critical, critical));
}

// The watching thread, with sockets whose out-of-band data signals POLLPRI as a PSI trigger does.

class TriggerPair {
public:
    TriggerPair() {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
    }
    ~TriggerPair() {
        if (ends_[0] >= 0) {
            ::close(ends_[0]);
        }
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
        }
    }

    // The end the watcher polls; it owns it from now on.
    int handOver() { return std::exchange(ends_[0], -1); }

    void fire() const { ASSERT_EQ(::send(ends_[1], "!", 1, MSG_OOB | MSG_NOSIGNAL), 1); }
    void hangUp() { ::close(std::exchange(ends_[1], -1)); }

private:
    std::array<int, 2> ends_{-1, -1};
};

class DeliveredFlags {
public:
    void add(std::uint64_t flags) {
        const std::scoped_lock guard(lock_);
        flags_.push_back(flags);
        changed_.notify_all();
    }

    // The flags once `count` have come, or those that came within a generous limit.
    std::vector<std::uint64_t> waitFor(std::size_t count) {
        std::unique_lock guard(lock_);
        changed_.wait_for(guard, 10s, [&] { return flags_.size() >= count; });
        return flags_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::uint64_t> flags_;
};

// Takes the out-of-band byte, as polling a PSI trigger consumes its event.
void consume(int watched) {
    char byte = 0;
    ::recv(watched, &byte, 1, MSG_OOB | MSG_DONTWAIT);
}

TEST(LinuxMemoryPressureEventsThreadTests, DeliversEachTriggerAndTheFallAfterQuiet) {
    TriggerPair some;
    TriggerPair full;
    DeliveredFlags delivered;
    const int someEnd = some.handOver();
    const int fullEnd = full.handOver();
    auto subscription = LinuxMemoryPressureEvents::watchTriggers(
        someEnd, fullEnd,
        [&](std::uint64_t flags) {
            consume(someEnd);
            consume(fullEnd);
            delivered.add(flags);
        },
        1s);

    some.fire();
    EXPECT_THAT(delivered.waitFor(1), ::testing::ElementsAre(warning));
    full.fire();
    EXPECT_THAT(delivered.waitFor(2), ::testing::ElementsAre(warning, critical));
    EXPECT_THAT(delivered.waitFor(3), ::testing::ElementsAre(warning, critical, normal));
}

TEST(LinuxMemoryPressureEventsThreadTests, TeardownWakesAWatcherWaitingForTheLevelToFall) {
    TriggerPair some;
    TriggerPair full;
    DeliveredFlags delivered;
    const int someEnd = some.handOver();
    auto subscription = LinuxMemoryPressureEvents::watchTriggers(
        someEnd, full.handOver(),
        [&](std::uint64_t flags) {
            consume(someEnd);
            delivered.add(flags);
        },
        24h);
    some.fire();
    ASSERT_THAT(delivered.waitFor(1), ::testing::ElementsAre(warning));
    subscription.reset();
    EXPECT_THAT(delivered.waitFor(1), ::testing::ElementsAre(warning));
}

// Thread lifetime

std::size_t threadCount() {
    const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

TEST(LinuxMemoryPressureEventsThreadTests, TriggerReportingAnErrorEndsTheWatcher) {
    TriggerPair some;
    TriggerPair full;
    const std::size_t before = threadCount();
    auto subscription = LinuxMemoryPressureEvents::watchTriggers(
        some.handOver(), full.handOver(), [](std::uint64_t) { FAIL() << "unexpected event"; }, 1h);
    EXPECT_EQ(threadCount(), before + 1);
    full.hangUp();
    for (int attempt = 0; attempt < 1000 && threadCount() > before; ++attempt) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(threadCount(), before);
}

TEST(LinuxMemoryPressureEventsThreadTests, RegularFileArmsAWatcherThatStopsAtTeardown) {
    const testing::TemporaryDirectory root;
    root.write("proc/pressure/memory", "");
    LinuxMemoryPressureEvents events(root.path());
    const std::size_t before = threadCount();
    auto subscription = events.subscribe([](std::uint64_t) { FAIL() << "unexpected event"; });
    EXPECT_EQ(threadCount(), before + 1);
    subscription.reset();
    EXPECT_EQ(threadCount(), before);
}

TEST(LinuxMemoryPressureEventsThreadTests, MissingPressureFileStartsNoThread) {
    const testing::TemporaryDirectory root;
    LinuxMemoryPressureEvents events(root.path());
    const std::size_t before = threadCount();
    auto subscription = events.subscribe([](std::uint64_t) { FAIL() << "unexpected event"; });
    ASSERT_TRUE(subscription);
    EXPECT_EQ(threadCount(), before);
}

TEST(LinuxMemoryPressureEventsThreadTests, TriggerThatCannotBeArmedStartsNoThread) {
    const testing::TemporaryDirectory root;
    std::filesystem::create_directories(root.path() / "proc/pressure/memory");
    LinuxMemoryPressureEvents events(root.path());
    const std::size_t before = threadCount();
    auto subscription = events.subscribe([](std::uint64_t) { FAIL() << "unexpected event"; });
    ASSERT_TRUE(subscription);
    EXPECT_EQ(threadCount(), before);
}

TEST(LinuxMemoryPressureEventsThreadTests, ManySubscriptionsStartAndStopCleanly) {
    const testing::TemporaryDirectory root;
    root.write("proc/pressure/memory", "");
    const std::size_t before = threadCount();
    for (const auto& path : {root.path(), root.path() / "missing", std::filesystem::path("/")}) {
        LinuxMemoryPressureEvents events(path);
        for (int round = 0; round < 25; ++round) {
            auto subscription = events.subscribe([](std::uint64_t) {});
        }
    }
    EXPECT_EQ(threadCount(), before);
}

TEST(LinuxMemoryPressureEventsThreadTests, ThisKernelsTriggersArm) {
    if (!std::filesystem::exists("/proc/pressure/memory")) {
        GTEST_SKIP() << "this kernel has no memory pressure information";
    }
    const std::size_t before = threadCount();
    auto subscription = MemoryPressureEvents::system().subscribe([](std::uint64_t) {});
    EXPECT_EQ(threadCount(), before + 1);
}

}  // namespace
}  // namespace tallowbeck
