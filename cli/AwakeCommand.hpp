#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace tallowbeck::cli {

// `tallowbeck awake`: one keep-awake session in the foreground, for a while, until a time, while
// a command runs or until a process exits, optionally with the lid closed. With --list, instead,
// the keep-awake locks that every program holds now. Exits 0 after a normal
// end, 3 when heat ended it, 1 when the session could not start, 2 on bad usage, and with the
// command's own status when its command ended it. The watchdog of closed-lid mode is the
// "tallowbeck-watchdog" installed beside the tallowbeck executable.
class AwakeCommand {
public:
    static constexpr int usageErrorStatus = 2;

    explicit AwakeCommand(CLI::App& app);

    // The command and its arguments: the words after the first bare "--" of the command line,
    // exactly as given. They never reach CLI11, which would read list-like words such as "[a,b]"
    // as lists of their own even there.
    void takeCommand(std::vector<std::string> words);
    // Whether the command line chose awake.
    bool chosen() const;

    // "90s", "45m", "2h", "1h30m", "1h30m15s", or whole seconds alone ("90"): the hours, minutes
    // and seconds in that order, each at most once, together above 0 s and at most a year.
    static std::optional<double> parseDuration(std::string_view text) noexcept;
    // An internet date-time ("2024-05-01T18:30:00Z", or with an offset), or a local time of day
    // "HH:MM" or "HH:MM:SS", meaning its next coming after `now`. Nothing for other text and for
    // a date-time that is not after `now`.
    static std::optional<double> parseEndTime(std::string_view text, double now) noexcept;

private:
    // Throws CLI::RuntimeError with any status other than 0.
    void run() const;
    int runSession() const;
    int listLocks() const;

    CLI::App* subcommand_ = nullptr;

    std::optional<double> lengthSeconds_;
    std::optional<double> endsAt_;  // seconds since 1970
    bool closedLid_ = false;
    bool allowDisplaySleep_ = false;
    double recordEverySeconds_ = 0;  // 0: records nothing
    std::string file_;
    std::int64_t retentionDays_ = 7;
    bool json_ = false;
    bool list_ = false;
    std::optional<std::int32_t> pid_;
    std::vector<std::string> command_;  // the words after "--", as given
};

}  // namespace tallowbeck::cli
