#include "TallowbeckCore/platform/linux/LinuxMemoryPressureEvents.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"

namespace tallowbeck {

namespace {

using Clock = LinuxMemoryPressureEvents::Clock;

constexpr const char* someStallTrigger = "some 300000 2000000";
constexpr const char* fullStallTrigger = "full 200000 2000000";

// An invalid descriptor when the file is missing or refuses the trigger.
FileDescriptor armTrigger(const std::string& pressurePath, const char* trigger) noexcept {
    FileDescriptor file(::open(pressurePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    // The kernel takes the text with its terminating NUL.
    const auto length = static_cast<ssize_t>(std::strlen(trigger) + 1);
    if (file.isOpen() && ::write(file.get(), trigger, static_cast<std::size_t>(length)) != length) {
        return FileDescriptor();
    }
    return file;
}

int pollTimeout(const std::optional<Clock::duration>& recheckAfter) noexcept {
    if (!recheckAfter) {
        return -1;
    }
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(*recheckAfter).count();
    return static_cast<int>(std::clamp<decltype(milliseconds)>(milliseconds, 0, INT_MAX));
}

bool reportsError(const pollfd& watched) noexcept {
    return (watched.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
}

bool triggered(const pollfd& watched) noexcept { return (watched.revents & POLLPRI) != 0; }

class TriggerSubscription final : public MemoryPressureEvents::Subscription {
public:
    TriggerSubscription(FileDescriptor someTrigger, FileDescriptor fullTrigger, FileDescriptor wake,
                        MemoryPressureEvents::Handler handler, Clock::duration quietPeriod)
        : someTrigger_(std::move(someTrigger)),
          fullTrigger_(std::move(fullTrigger)),
          wake_(std::move(wake)),
          handler_(std::move(handler)),
          quietPeriod_(quietPeriod),
          watcher_([this] { watch(); }) {}

    ~TriggerSubscription() override {
        ::eventfd_write(wake_.get(), 1);
        watcher_.join();
    }

private:
    // Until woken for teardown or a descriptor fails: waits for a trigger or for the level to
    // fall, and delivers each change of the level.
    void watch() {
        LinuxMemoryPressureEvents::TriggerTimes firedAt;
        std::uint64_t delivered = MemoryPressureEvents::normalFlag;
        std::optional<Clock::duration> recheckAfter;
        for (;;) {
            std::array<pollfd, 3> watched{{{wake_.get(), POLLIN, 0},
                                           {someTrigger_.get(), POLLPRI, 0},
                                           {fullTrigger_.get(), POLLPRI, 0}}};
            const int ready = SystemCall::retryingInterrupted(
                [&] { return ::poll(watched.data(), watched.size(), pollTimeout(recheckAfter)); });
            if (ready < 0 || watched[0].revents != 0 || reportsError(watched[1]) ||
                reportsError(watched[2])) {
                return;
            }
            const Clock::time_point now = Clock::now();
            if (triggered(watched[1])) {
                firedAt.some = now;
            }
            if (triggered(watched[2])) {
                firedAt.full = now;
            }
            const auto decision = LinuxMemoryPressureEvents::decide(firedAt, now, quietPeriod_);
            recheckAfter = decision.recheckAfter;
            if (decision.flags != delivered) {
                delivered = decision.flags;
                handler_(delivered);
            }
        }
    }

    FileDescriptor someTrigger_;
    FileDescriptor fullTrigger_;
    FileDescriptor wake_;
    MemoryPressureEvents::Handler handler_;
    Clock::duration quietPeriod_;
    // Started last, once everything it uses exists.
    std::thread watcher_;
};

}  // namespace

MemoryPressureEvents& MemoryPressureEvents::system() {
    static LinuxMemoryPressureEvents instance;
    return instance;
}

LinuxMemoryPressureEvents::LinuxMemoryPressureEvents(const std::filesystem::path& root,
                                                     Clock::duration quietPeriod)
    : pressurePath_(root / "proc/pressure/memory"), quietPeriod_(quietPeriod) {}

std::unique_ptr<MemoryPressureEvents::Subscription> LinuxMemoryPressureEvents::subscribe(
    Handler handler) {
    FileDescriptor someTrigger = armTrigger(pressurePath_, someStallTrigger);
    FileDescriptor fullTrigger = armTrigger(pressurePath_, fullStallTrigger);
    if (!someTrigger.isOpen() || !fullTrigger.isOpen()) {
        return std::make_unique<Subscription>();
    }
    return watchTriggers(someTrigger.release(), fullTrigger.release(), std::move(handler),
                         quietPeriod_);
}

std::unique_ptr<MemoryPressureEvents::Subscription> LinuxMemoryPressureEvents::watchTriggers(
    int someTrigger, int fullTrigger, Handler handler, Clock::duration quietPeriod) {
    FileDescriptor some(someTrigger);
    FileDescriptor full(fullTrigger);
    FileDescriptor wake(::eventfd(0, EFD_CLOEXEC));
    if (!wake.isOpen()) {
        return std::make_unique<Subscription>();
    }
    try {
        return std::make_unique<TriggerSubscription>(
            std::move(some), std::move(full), std::move(wake), std::move(handler), quietPeriod);
    } catch (const std::system_error&) {
        // No thread to watch with: no events, as where the triggers cannot be armed.
        return std::make_unique<Subscription>();
    }
}

LinuxMemoryPressureEvents::Decision LinuxMemoryPressureEvents::decide(
    const TriggerTimes& fired, Clock::time_point now, Clock::duration quietPeriod) noexcept {
    const auto isRecent = [&](const std::optional<Clock::time_point>& firedAt) {
        return firedAt && now - *firedAt < quietPeriod;
    };
    if (isRecent(fired.full)) {
        return {criticalFlag, *fired.full + quietPeriod - now};
    }
    if (isRecent(fired.some)) {
        return {warningFlag, *fired.some + quietPeriod - now};
    }
    return {};
}

}  // namespace tallowbeck
