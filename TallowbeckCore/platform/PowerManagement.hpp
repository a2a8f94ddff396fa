#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tallowbeck {

// Keep-awake power assertions and the power root domain's closed-lid sleep setting.
class PowerManagement {
public:
    struct AssertionCreation {
        std::int32_t status = 0;  // 0 on success
        std::uint32_t assertionID = 0;
    };

    // What became of one clamshell-sleep-state call on the root domain. The service and the
    // connection are released on every path; `status` is the failing call's status.
    struct RootDomainCall {
        enum class Outcome { accepted, serviceMissing, openFailed, callFailed };
        Outcome outcome = Outcome::accepted;
        std::int32_t status = 0;
    };

    // A keep-awake lock that some program holds: what it keeps from happening, the program's own
    // name for itself and its reason, how it holds it, and its process and user.
    struct HeldLock {
        std::string what;  // "idle", "sleep", "handle-lid-switch", ...
        std::string who;
        std::string why;
        std::string mode;  // "block" or "delay"
        std::uint32_t userID = 0;
        std::uint32_t processID = 0;

        friend bool operator==(const HeldLock&, const HeldLock&) = default;
    };

    virtual ~PowerManagement() = default;

    virtual AssertionCreation createAssertion(std::string_view type, std::uint32_t level,
                                              std::string_view name) = 0;
    // 0 or IOReturn::notFound mean the assertion is gone.
    virtual std::int32_t releaseAssertion(std::uint32_t assertionID) = 0;
    // `disabled` true keeps the machine running with the lid closed.
    virtual RootDomainCall setClamshellSleepDisabled(bool disabled) = 0;
    // What the platform told about its latest failure beyond the status, in words, for the user;
    // empty when it told nothing more.
    virtual std::string failureDetail() const { return {}; }
    // Why the display assertion now held keeps no display on, in words, where the platform found
    // no display to keep on (no graphical session); empty while every display assertion holds.
    virtual std::string displayNotKeptOnReason() const { return {}; }
    // Every keep-awake lock held on this machine now, by any program. Throws std::runtime_error,
    // in words for the user, where they cannot be listed.
    virtual std::vector<HeldLock> heldLocks() const {
        throw std::runtime_error("this system does not list the keep-awake locks held");
    }

    static PowerManagement& system();
};

}  // namespace tallowbeck
