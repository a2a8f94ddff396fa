#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>

#include "TallowbeckCore/platform/PowerManagement.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"

namespace tallowbeck {

// Holds the keep-awake assertions of a session and the closed-lid sleep setting, and guarantees
// that what it turned on is turned off again. Failures are thrown as PowerControlError (or as
// whatever an injected clamshell setter throws).
class PowerController {
public:
    // true = closed-lid sleep disabled; throws on failure.
    using ClamshellSetter = std::function<void(bool disabled)>;
    // Returns the platform status: 0 or IOReturn::notFound mean released.
    using AssertionReleaser = std::function<std::int32_t(std::uint32_t assertionID)>;

    // Default collaborators: the root domain's clamshell setting and the platform's release.
    explicit PowerController(PowerManagement& platform = PowerManagement::system());
    // `platform` still creates the assertions.
    PowerController(ClamshellSetter clamshellSetter, AssertionReleaser assertionReleaser,
                    PowerManagement& platform = PowerManagement::system());
    ~PowerController();

    PowerController(const PowerController&) = delete;
    PowerController& operator=(const PowerController&) = delete;

    void activate(bool allowsDisplaySleep, bool closedLidEnabled);
    void deactivate();
    void reapplyClosedLidSetting();
    void restoreClosedLidSleep();

    static void setClosedLidSleepDisabled(bool disabled,
                                          PowerManagement& platform = PowerManagement::system());

    std::optional<std::uint32_t> systemAssertionID() const;
    std::optional<std::uint32_t> displayAssertionID() const;
    bool closedLidSleepDisabled() const;

private:
    // Callers hold lock_. Returns the first failed release; failed ids stay stored for a retry.
    [[nodiscard]] std::optional<PowerControlError> releaseAssertions();
    [[nodiscard]] std::optional<PowerControlError> releaseAssertion(
        std::optional<std::uint32_t>& assertionID);
    // Throws assertionFailed.
    std::uint32_t createAssertion(const char* type, const char* name);
    // Runs one step of an activation; if it throws, gives back the assertions taken so far.
    void releasingAssertionsOnFailure(const std::function<void()>& step);

    mutable std::mutex lock_;
    ClamshellSetter clamshellSetter_;
    AssertionReleaser assertionReleaser_;
    PowerManagement& platform_;
    std::optional<std::uint32_t> systemAssertionID_;
    std::optional<std::uint32_t> displayAssertionID_;
    bool closedLidSleepDisabled_ = false;
};

}  // namespace tallowbeck
