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

// A private system bus and session bus, each a dbus-daemon of its own, with logind on the first
// (python3-dbusmock's logind template) and a screen saver on the second (our dbusmock template)
// where asked for. While it lives, DBUS_SYSTEM_BUS_ADDRESS and DBUS_SESSION_BUS_ADDRESS of this
// process, and so of every program it starts, name these buses; afterwards they are as they
// were. Everything it started is stopped and reaped when it goes, also when a test fails.
// Throws std::runtime_error, with the daemons' own words, when something does not start.
class PrivateBuses {
public:
    struct Services {
        bool logind = true;
        bool screenSaver = true;
    };

    explicit PrivateBuses(Services services = {true, true});
    ~PrivateBuses();
    PrivateBuses(const PrivateBuses&) = delete;
    PrivateBuses& operator=(const PrivateBuses&) = delete;

    std::vector<LogindInhibitor> logindInhibitors() const;
    // From now on logind refuses every lock, as it does a caller that polkit does not allow to.
    void refuseLogindLocks() const;
    std::vector<ScreenSaverInhibition> screenSaverInhibitions() const;

private:
    class Bus;

    // Starts dbusmock with `templateName` and waits until it owns `busName`.
    void startMock(const std::string& name, const std::string& templateName, bool onSystemBus,
                   const char* busName);

    TemporaryDirectory directory_;
    std::unique_ptr<Bus> systemBus_;
    std::unique_ptr<Bus> sessionBus_;
    EnvironmentVariable systemAddress_;
    EnvironmentVariable sessionAddress_;
    std::vector<ChildProcess> mocks_;
};

}  // namespace tallowbeck::testing
