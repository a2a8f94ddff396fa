#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"

namespace tallowbeck {

// Memory-pressure events from two PSI triggers on <root>/proc/pressure/memory, watched by a
// thread that each subscription owns:
//   "some 300000 2000000": some task stalled on memory 15 % of a 2 s window -> warningFlag,
//   "full 200000 2000000": all runnable tasks stalled 10 % of a 2 s window -> criticalFlag,
//   neither trigger fired for the quiet period (5 s) -> normalFlag.
// The level is that of the most severe trigger that fired within the quiet period, so a level
// falls only after its trigger has stayed quiet that long, and the two triggers, which fire at
// their own moments, cannot make it flap. Only changes of the level are delivered; there is no
// event at the start, where the level is normal. The window is 2 s because processes without
// CAP_SYS_RESOURCE may only use whole multiples of 2 s; the quiet period outlasts a window, so
// pressure that goes on, which fires its trigger once per window, keeps its level.
// Where the file is missing or a trigger cannot be armed (no PSI, no permission), no event ever
// comes and the level stays normal; the same holds once a trigger reports an error.
class LinuxMemoryPressureEvents final : public MemoryPressureEvents {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::duration defaultQuietPeriod = std::chrono::seconds(5);

    explicit LinuxMemoryPressureEvents(const std::filesystem::path& root = "/",
                                       Clock::duration quietPeriod = defaultQuietPeriod);

    std::unique_ptr<Subscription> subscribe(Handler handler) override;

    // Watches two armed trigger descriptors, taking ownership of them: what `subscribe` does
    // once the triggers are armed. Descriptors that signal POLLPRI stand in for PSI in tests.
    static std::unique_ptr<Subscription> watchTriggers(int someTrigger, int fullTrigger,
                                                       Handler handler,
                                                       Clock::duration quietPeriod);

    // When each trigger fired last; empty before its first event.
    struct TriggerTimes {
        std::optional<Clock::time_point> some = std::nullopt;
        std::optional<Clock::time_point> full = std::nullopt;
    };

    struct Decision {
        std::uint64_t flags = normalFlag;
        // How long until the level may fall; empty at normal, where only a trigger can change it.
        std::optional<Clock::duration> recheckAfter = std::nullopt;

        friend bool operator==(const Decision&, const Decision&) = default;
    };

    // The level at `now`: that of the most severe trigger that fired less than `quietPeriod` ago.
    static Decision decide(const TriggerTimes& fired, Clock::time_point now,
                           Clock::duration quietPeriod) noexcept;

private:
    std::string pressurePath_;
    Clock::duration quietPeriod_;
};

}  // namespace tallowbeck
