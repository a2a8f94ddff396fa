#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "TallowbeckCore/platform/PowerManagement.hpp"
#include "TallowbeckCore/platform/linux/DBusConnection.hpp"
#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// Keep-awake through systemd-logind and the session's screen saver, over D-Bus (sd-bus).
//
// "PreventUserIdleSystemSleep": a logind inhibitor lock of kind "idle" in "block" mode
//   (org.freedesktop.login1.Manager.Inhibit on the system bus), who = the application's name,
//   why = the assertion's name. Only "idle", never "sleep": a suspend the user asks for must still
//   happen while a session runs.
// "PreventUserIdleDisplaySleep": on the session bus, the desktop portal's
//   org.freedesktop.portal.Inhibit.Inhibit (flag "idle", the assertion's name as the reason),
//   released by closing the request it answers with; where no portal is there,
//   org.freedesktop.ScreenSaver.Inhibit with the application's name and the assertion's name,
//   released by UnInhibit. The connection to the session bus is kept while it holds an
//   inhibition, since both drop the inhibitions of clients that leave.
//   Without a graphical session (neither WAYLAND_DISPLAY nor DISPLAY set, or no session bus to
//   reach, as over SSH, on servers and in containers) there is no display to keep on: the
//   assertion succeeds holding nothing, and displayNotKeptOnReason() says why while it is held.
// Any other type, and the system assertion where logind is not there (no system bus, nobody
//   owning the name), fails with IOReturn::unsupported, as on a system without power assertions;
//   so does the display assertion in a graphical session where neither is there. A
//   service that refuses fails with its error as a negative errno.
//   The level is not looked at: every assertion is held at full strength.
// Releasing closes the lock's descriptor or the portal's request, or calls UnInhibit with the
//   cookie; an id that this layer does not hold is IOReturn::notFound.
// failureDetail() tells the latest failure in this system's terms, in one line: which lock
//   (idle, display, closed-lid), which service, and its D-Bus error; a refusal by polkit also
//   says what to do about it. When standard input is a terminal, logind's polkit may ask the
//   person there for authorization (through a polkit agent) before it answers.
//
// heldLocks() lists logind's inhibitor locks (org.freedesktop.login1.Manager.ListInhibitors), of
// every program, as `systemd-inhibit --list` does.
//
// The root domain's closed-lid setting:
// - disabling takes a logind lock of kind "handle-lid-switch" in "block" mode and keeps its
//   descriptor for the life of the process. That low-level lock stops logind from acting on the
//   lid whatever LidSwitchIgnoreInhibited= says (a "sleep" lock would not, under the default
//   configuration). Held already, it is accepted without a call. No bus or no logind is a
//   missing root domain; a refusal is a failed call with its negative errno.
// - enabling closes that descriptor and is always accepted, also when none is held.
// The watchdog's restore is therefore correct on Linux too, although it runs in another process
// and holds no lock of its own: logind holds a lock only as long as some process keeps its
// descriptor open, and the kernel closes every descriptor of a process that ends, however it
// ends. Once the host application is gone its lid lock is gone, and the restore, which finds no
// lock to close, is right to succeed at once.
//
// Thread-safe.
class LinuxPowerManagement final : public PowerManagement {
public:
    // A kind of logind inhibitor lock, and how the user hears of it.
    struct LogindLock {
        const char* what;         // "idle", "handle-lid-switch"
        const char* description;  // "the idle lock"
    };

    // `applicationName` is the owner that logind and the screen saver show for the locks.
    explicit LinuxPowerManagement(std::string applicationName = "Quillmoss");

    AssertionCreation createAssertion(std::string_view type, std::uint32_t level,
                                      std::string_view name) override;
    std::int32_t releaseAssertion(std::uint32_t assertionID) override;
    RootDomainCall setClamshellSleepDisabled(bool disabled) override;
    std::string failureDetail() const override;
    std::string displayNotKeptOnReason() const override;
    std::vector<HeldLock> heldLocks() const override;

private:
    struct ScreenSaverCookie {
        std::uint32_t value;
    };
    // The desktop portal's request object, whose closing ends the inhibition.
    struct PortalRequest {
        std::string handle;
    };
    // A display assertion taken where there is no display to keep on.
    struct AbsentDisplay {
        std::string reason;
    };
    using Inhibition =
        std::variant<FileDescriptor, ScreenSaverCookie, PortalRequest, AbsentDisplay>;

    // Callers hold lock_. Each throws DBusFailure.
    FileDescriptor inhibitLogind(const LogindLock& lock, std::string_view why) const;
    Inhibition inhibitDisplay(std::string_view why);
    PortalRequest inhibitThroughPortal(std::string_view why);
    ScreenSaverCookie inhibitScreenSaver(std::string_view why);
    void release(const Inhibition& inhibition);
    void closePortalRequest(const PortalRequest& request);
    void uninhibitScreenSaver(ScreenSaverCookie cookie);
    Inhibition inhibit(std::string_view type, std::string_view name);
    std::uint32_t unusedAssertionID() noexcept;
    bool holdsSessionInhibition() const noexcept;

    const std::string applicationName_;
    mutable std::mutex lock_;
    std::map<std::uint32_t, Inhibition> inhibitions_;
    std::uint32_t lastAssertionID_ = 0;
    FileDescriptor lidSwitchLock_;
    std::optional<DBusConnection> sessionBus_;
    std::string failureDetail_;
};

}  // namespace tallowbeck
