#include "tests/testing/PrivateBuses.hpp"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

#include "TallowbeckCore/platform/linux/DBusConnection.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/DyingWithThisProcess.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

// Starting a Python interpreter with dbusmock takes a fraction of a second; only a broken set-up
// comes near this.
constexpr auto startPatience = 20s;
constexpr auto stopPatience = 2s;
// A display name that stands for a graphical session; no server answers it.
constexpr const char* graphicalDisplay = ":99";

constexpr DBusMethod nameHasOwner{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus", "NameHasOwner"};
constexpr DBusMethod listInhibitors{"org.freedesktop.login1", "/org/freedesktop/login1",
                                    "org.freedesktop.login1.Manager", "ListInhibitors"};
constexpr DBusMethod listInteractiveAuthorizations{
    "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock",
    "ListInteractiveAuthorizations"};
constexpr DBusMethod refuseLock{"org.freedesktop.login1", "/org/freedesktop/login1",
                                "org.freedesktop.DBus.Mock", "RefuseLock"};
constexpr DBusMethod setProperty{"org.freedesktop.login1", "/org/freedesktop/login1",
                                 "org.freedesktop.DBus.Properties", "Set"};
constexpr DBusMethod listInhibitions{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                                     "org.freedesktop.DBus.Mock", "ListInhibitions"};
constexpr DBusMethod listPortalInhibitions{"org.freedesktop.portal.Desktop",
                                           "/org/freedesktop/portal/desktop",
                                           "org.freedesktop.DBus.Mock", "ListInhibitions"};

bool hasOwner(DBusConnection::Bus bus, const char* name) {
    try {
        DBusConnection connection = DBusConnection::open(bus);
        int owned = 0;
        sd_bus_message_read(connection.call(nameHasOwner, "s", name).get(), "b", &owned);
        return owned != 0;
    } catch (const DBusFailure&) {
        return false;
    }
}

// Calls `read(reply)` for each element of the array of `elementType` that `method` answers.
template <typename Read>
void forEachElement(DBusConnection::Bus bus, const DBusMethod& method, const char* elementType,
                    Read&& read) {
    try {
        DBusConnection connection = DBusConnection::open(bus);
        const DBusReply reply = connection.call(method, "");
        sd_bus_message_enter_container(reply.get(), 'a', elementType);
        while (read(reply.get()) > 0) {
        }
        sd_bus_message_exit_container(reply.get());
    } catch (const DBusFailure& failure) {
        throw std::runtime_error(failure.reason);
    }
}

}  // namespace

// One dbus-daemon on a socket of its own.
class PrivateBuses::Bus {
public:
    Bus(const TemporaryDirectory& directory, const std::string& name)
        : daemon_(ChildProcess::start(
              TALLOWBECK_DBUS_DAEMON_PATH,
              {"--session", "--nofork", "--nopidfile", "--print-address=1",
               "--address=unix:path=" + (directory.path() / (name + "-socket")).string()},
              {.input = -1, .output = printed_.descriptor(), .error = log_.descriptor()},
              dyingWithThisProcess())) {
        if (!becomesTrueWithin(startPatience, [this] { return !address().empty(); })) {
            throw std::runtime_error("dbus-daemon did not start: " + log_.text());
        }
    }

    ~Bus() { daemon_.stop(stopPatience); }

    std::string address() const {
        const std::string printed = printed_.text();
        const auto lineEnd = printed.find('\n');
        return lineEnd == std::string::npos ? "" : printed.substr(0, lineEnd);
    }

private:
    CapturedOutput printed_;
    CapturedOutput log_;
    ChildProcess daemon_;
};

PrivateBuses::PrivateBuses() : PrivateBuses(Services{}) {}

PrivateBuses::PrivateBuses(Services services)
    : systemBus_(std::make_unique<Bus>(directory_, "system")),
      sessionBus_(services.sessionBus ? std::make_unique<Bus>(directory_, "session") : nullptr),
      systemAddress_("DBUS_SYSTEM_BUS_ADDRESS", systemBus_->address()),
      sessionAddress_("DBUS_SESSION_BUS_ADDRESS",
                      sessionBus_ ? std::optional(sessionBus_->address()) : std::nullopt),
      display_("DISPLAY",
               sessionBus_ ? std::optional<std::string>(graphicalDisplay) : std::nullopt),
      waylandDisplay_("WAYLAND_DISPLAY", std::nullopt) {
    if (!sessionBus_) {
        runtimeDirectory_.emplace("XDG_RUNTIME_DIR", std::nullopt);
    }
    if (services.logind) {
        startMock("logind", TALLOWBECK_LOGIND_MOCK_PATH, true, "org.freedesktop.login1");
    }
    if (services.screenSaver && sessionBus_) {
        startMock("screensaver", TALLOWBECK_SCREENSAVER_MOCK_PATH, false,
                  "org.freedesktop.ScreenSaver");
    }
    if (services.portal && sessionBus_) {
        startMock("portal", TALLOWBECK_PORTAL_MOCK_PATH, false, "org.freedesktop.portal.Desktop");
    }
}

PrivateBuses::~PrivateBuses() {
    for (ChildProcess& mock : mocks_) {
        mock.stop(stopPatience);
    }
}

void PrivateBuses::startMock(const std::string& name, const std::string& templateName,
                             bool onSystemBus, const char* busName) {
    const CapturedOutput log;
    // Debian's interpreter, which sees Debian's python3-dbusmock whatever python3 is first on
    // the PATH.
    ChildProcess mock = ChildProcess::start(
        TALLOWBECK_SYSTEM_PYTHON_PATH, {"-m", "dbusmock", "--template", templateName},
        {.input = -1, .output = log.descriptor(), .error = log.descriptor()},
        dyingWithThisProcess());
    const auto bus = onSystemBus ? DBusConnection::Bus::system : DBusConnection::Bus::session;
    std::optional<ChildExit> exit;
    const bool started = becomesTrueWithin(startPatience, [&] {
        exit = mock.exitWithin(0ms);
        return exit.has_value() || hasOwner(bus, busName);
    });
    if (!started || exit) {
        throw std::runtime_error("the " + name + " mock did not start: " + log.text());
    }
    mocks_.push_back(std::move(mock));
}

std::vector<LogindInhibitor> PrivateBuses::logindInhibitors() const {
    std::vector<LogindInhibitor> inhibitors;
    forEachElement(
        DBusConnection::Bus::system, listInhibitors, "(ssssuu)", [&](sd_bus_message* reply) {
            const char* texts[4] = {};
            std::uint32_t uid = 0;
            std::uint32_t pid = 0;
            const int result = sd_bus_message_read(reply, "(ssssuu)", &texts[0], &texts[1],
                                                   &texts[2], &texts[3], &uid, &pid);
            if (result > 0) {
                inhibitors.push_back({texts[0], texts[1], texts[2], texts[3]});
            }
            return result;
        });
    return inhibitors;
}

std::vector<bool> PrivateBuses::logindInteractiveAuthorizations() const {
    std::vector<bool> allowed;
    forEachElement(DBusConnection::Bus::system, listInteractiveAuthorizations, "b",
                   [&](sd_bus_message* reply) {
                       int value = 0;
                       const int result = sd_bus_message_read(reply, "b", &value);
                       if (result > 0) {
                           allowed.push_back(value != 0);
                       }
                       return result;
                   });
    return allowed;
}

void PrivateBuses::refuseLogindLocks(const std::vector<std::string>& kinds) const {
    try {
        DBusConnection systemBus = DBusConnection::open(DBusConnection::Bus::system);
        for (const std::string& kind : kinds) {
            systemBus.call(refuseLock, "s", kind.c_str());
        }
    } catch (const DBusFailure& failure) {
        throw std::runtime_error(failure.reason);
    }
}

void PrivateBuses::setLidClosed(bool closed) const {
    try {
        DBusConnection::open(DBusConnection::Bus::system)
            .call(setProperty, "ssv", "org.freedesktop.login1.Manager", "LidClosed", "b",
                  static_cast<int>(closed));
    } catch (const DBusFailure& failure) {
        throw std::runtime_error(failure.reason);
    }
}

std::vector<ScreenSaverInhibition> PrivateBuses::screenSaverInhibitions() const {
    std::vector<ScreenSaverInhibition> inhibitions;
    if (!sessionBus_) {
        return inhibitions;
    }
    forEachElement(
        DBusConnection::Bus::session, listInhibitions, "(uss)", [&](sd_bus_message* reply) {
            std::uint32_t cookie = 0;
            const char* application = nullptr;
            const char* reason = nullptr;
            const int result = sd_bus_message_read(reply, "(uss)", &cookie, &application, &reason);
            if (result > 0) {
                inhibitions.push_back({application, reason});
            }
            return result;
        });
    return inhibitions;
}

std::vector<PortalInhibition> PrivateBuses::portalInhibitions() const {
    std::vector<PortalInhibition> inhibitions;
    forEachElement(
        DBusConnection::Bus::session, listPortalInhibitions, "(uss)", [&](sd_bus_message* reply) {
            std::uint32_t flags = 0;
            const char* reason = nullptr;
            const char* state = nullptr;
            const int result = sd_bus_message_read(reply, "(uss)", &flags, &reason, &state);
            if (result > 0) {
                inhibitions.push_back({flags, reason, state});
            }
            return result;
        });
    return inhibitions;
}

}  // namespace tallowbeck::testing
