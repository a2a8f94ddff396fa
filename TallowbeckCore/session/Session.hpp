#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck {

class JSONWriter;

// One keep-awake session: when it began, when it ends (or that it runs until stopped), and the
// two choices handed to the power controller. Times are seconds since 1970-01-01 UTC, and always
// finite: a session is never made with, nor changed to, a time that is not, which is refused with
// std::invalid_argument. So every session has a JSON form, and reads back from it unchanged.
class Session {
public:
    class Duration {
    public:
        static Duration until(double end) noexcept { return Duration(end); }
        static Duration indefinitely() noexcept { return Duration(std::nullopt); }

        std::optional<double> end() const noexcept { return end_; }

        friend bool operator==(const Duration&, const Duration&) = default;

    private:
        explicit Duration(std::optional<double> end) noexcept : end_(end) {}

        std::optional<double> end_;
    };

    // The end is taken as given, even one before the start.
    Session(double startedAt, Duration duration, bool closedLidEnabled, bool allowsDisplaySleep);

    double startedAt() const noexcept { return startedAt_; }
    std::optional<double> endsAt() const noexcept { return endsAt_; }
    void setEndsAt(std::optional<double> endsAt);
    bool closedLidEnabled() const noexcept { return closedLidEnabled_; }
    bool allowsDisplaySleep() const noexcept { return allowsDisplaySleep_; }

    // Seconds left, never negative; nothing for a session that runs until stopped.
    std::optional<double> remainingTime(double now) const noexcept;
    // A session expires at its end instant; one without an end never does.
    bool isExpired(double now) const noexcept;
    // Pushes the end `seconds` past the current end, or past now when the end has passed or there
    // is none (which makes an open-ended session a timed one). A negative value shortens it. An
    // end that would not be finite is refused and the session left as it was.
    void extend(double now, double seconds);

    // "startedAt" and, when there is an end, "endsAt" are seconds since 2001-01-01T00:00:00Z,
    // written with as many digits as reading them back exactly takes: the usual shortest text of
    // the difference where that is enough, otherwise the exact difference of the time's shortest
    // text and the reference date. Reading adds the reference date to the number as written, so
    // every session comes back equal to the one written.
    std::string json() const;
    void writeJSON(JSONWriter& json) const;
    // Throws DecodingError, also for a time beyond the largest double. A missing or null
    // "endsAt" gives a session without an end.
    static Session fromJSON(std::string_view text);

    friend bool operator==(const Session&, const Session&) = default;

private:
    double startedAt_;
    std::optional<double> endsAt_;
    bool closedLidEnabled_;
    bool allowsDisplaySleep_;
};

}  // namespace tallowbeck
