#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/EnvironmentVariable.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck::testing {

// A lock as logind lists it.
struct LogindInhibitor {
    std::string what;
    std::string who;
    std::string why;
    std::string mode;

    friend bool operator==(const LogindInhibitor&, const LogindInhibitor&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const LogindInhibitor& inhibitor) {
        return stream << inhibitor.what << "/" << inhibitor.who << "/" << inhibitor.why << "/"
                      << inhibitor.mode;
    }
};

// An inhibition as the screen saver lists it.
struct ScreenSaverInhibition {
    std::string application;
    std::string reason;

    friend bool operator==(const ScreenSaverInhibition&, const ScreenSaverInhibition&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const ScreenSaverInhibition& inhibition) {
        return stream << inhibition.application << "/" << inhibition.reason;
    }
};

// An inhibition as the desktop portal's mock lists it: every one ever asked for, with how it
// stands now, "held", "closed" (its request was closed) or "callerLeft" (its caller left the bus).
struct PortalInhibition {
    std::uint32_t flags;
    std::string reason;
    std::string state;

    friend bool operator==(const PortalInhibition&, const PortalInhibition&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const PortalInhibition& inhibition) {
        return stream << inhibition.flags << "/" << inhibition.reason << "/" << inhibition.state;
    }
};

// A private system bus and session bus, each a dbus-daemon of its own, with logind on the first
// (our dbusmock template, python3-dbusmock's own with what these tests need besides) and a screen
// saver and the desktop portal on the second (our dbusmock templates) where asked for. While it
// lives, DBUS_SYSTEM_BUS_ADDRESS and DBUS_SESSION_BUS_ADDRESS of this process, and so of every
// program it starts, name these buses, and DISPLAY says that there is a graphical session (no
// display server is needed: nothing connects to it); afterwards they are as they were. Without a
// session bus, as over SSH or on a server, none of DISPLAY, WAYLAND_DISPLAY,
// DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR (where the session bus's socket would be looked for)
// is set. Everything it started is stopped and reaped when it goes, also when a test fails. Throws
// std::runtime_error, with the daemons' own words, when something does not start.
class PrivateBuses {
public:
    struct Services {
        bool logind = true;
        bool screenSaver = true;
        bool portal = false;
        bool sessionBus = true;  // false: no session bus and no graphical session
    };

    PrivateBuses();
    explicit PrivateBuses(Services services);
    ~PrivateBuses();
    PrivateBuses(const PrivateBuses&) = delete;
    PrivateBuses& operator=(const PrivateBuses&) = delete;

    std::vector<LogindInhibitor> logindInhibitors() const;
    // For each call of logind's Inhibit so far, whether it let polkit ask the user.
    std::vector<bool> logindInteractiveAuthorizations() const;
    // From now on logind refuses every lock of these kinds ("idle", "handle-lid-switch"), as it
    // does a caller that polkit does not allow to take them.
    void refuseLogindLocks(const std::vector<std::string>& kinds) const;
    // Sets logind's LidClosed property.
    void setLidClosed(bool closed) const;
    // None without a session bus.
    std::vector<ScreenSaverInhibition> screenSaverInhibitions() const;
    std::vector<PortalInhibition> portalInhibitions() const;

private:
    class Bus;

    // Starts dbusmock with `templateName` and waits until it owns `busName`.
    void startMock(const std::string& name, const std::string& templateName, bool onSystemBus,
                   const char* busName);

    TemporaryDirectory directory_;
    std::unique_ptr<Bus> systemBus_;
    std::unique_ptr<Bus> sessionBus_;  // none without a session bus
    EnvironmentVariable systemAddress_;
    EnvironmentVariable sessionAddress_;
    EnvironmentVariable display_;
    EnvironmentVariable waylandDisplay_;
    std::optional<EnvironmentVariable> runtimeDirectory_;
    std::vector<ChildProcess> mocks_;
};

}  // namespace tallowbeck::testing
