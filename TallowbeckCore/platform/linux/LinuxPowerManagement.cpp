#include "TallowbeckCore/platform/linux/LinuxPowerManagement.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <utility>
#include <vector>

#include "TallowbeckCore/platform/IOReturn.hpp"

namespace tallowbeck {
namespace {

constexpr std::string_view systemAssertionType = "PreventUserIdleSystemSleep";
constexpr std::string_view displayAssertionType = "PreventUserIdleDisplaySleep";

constexpr DBusMethod logindInhibit{"org.freedesktop.login1", "/org/freedesktop/login1",
                                   "org.freedesktop.login1.Manager", "Inhibit"};
constexpr DBusMethod logindListInhibitors{"org.freedesktop.login1", "/org/freedesktop/login1",
                                          "org.freedesktop.login1.Manager", "ListInhibitors"};
constexpr DBusMethod portalInhibit{"org.freedesktop.portal.Desktop",
                                   "/org/freedesktop/portal/desktop",
                                   "org.freedesktop.portal.Inhibit", "Inhibit"};
constexpr DBusMethod screenSaverInhibit{"org.freedesktop.ScreenSaver",
                                        "/org/freedesktop/ScreenSaver",
                                        "org.freedesktop.ScreenSaver", "Inhibit"};
constexpr DBusMethod screenSaverUninhibit{"org.freedesktop.ScreenSaver",
                                          "/org/freedesktop/ScreenSaver",
                                          "org.freedesktop.ScreenSaver", "UnInhibit"};

// A lock that makes logind wait rather than act; the alternative, "delay", only postpones.
constexpr const char* blockMode = "block";

constexpr LinuxPowerManagement::LogindLock idleLock{"idle", "the idle lock"};
constexpr LinuxPowerManagement::LogindLock lidSwitchLock{"handle-lid-switch",
                                                         "the closed-lid lock (handle-lid-switch)"};

constexpr std::string_view logindService = "logind (org.freedesktop.login1)";
constexpr std::string_view screenSaverService = "the screen saver (org.freedesktop.ScreenSaver)";
constexpr std::string_view portalService = "the desktop portal (org.freedesktop.portal.Desktop)";

// The portal's flag for inhibiting the session's going idle, which blanks the display.
constexpr std::uint32_t portalIdleFlag = 8;

// How logind passes on polkit's refusal, and polkit's wish to ask a person who cannot be asked.
constexpr std::array<std::string_view, 2> polkitRefusals{
    "org.freedesktop.DBus.Error.AccessDenied",
    "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"};

bool isPolkitRefusal(std::string_view errorName) noexcept {
    return std::ranges::find(polkitRefusals, errorName) != polkitRefusals.end();
}

// `failure` told as "cannot take the idle lock from logind (org.freedesktop.login1): <error>".
DBusFailure described(DBusFailure failure, std::string_view attempt, std::string_view service) {
    std::string text = std::string(attempt) + " " + std::string(service) + ": ";
    text += failure.errorName.empty() ? failure.reason : failure.errorName + ": " + failure.reason;
    if (isPolkitRefusal(failure.errorName)) {
        text +=
            "; polkit does not allow it from this session: run it from the machine's own "
            "session, or as root";
    }
    failure.reason = std::move(text);
    return failure;
}

bool isSet(const char* variable) noexcept {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

DBusFailure unsupportedType(std::string_view type) {
    return {.serviceMissing = true,
            .status = IOReturn::unsupported,
            .errorName = {},
            .reason = "Linux has no keep-awake assertion of type " + std::string(type)};
}

// ListInhibitors' answer: an array of (what, who, why, mode, uid, pid).
std::vector<PowerManagement::HeldLock> readInhibitors(const DBusReply& reply) {
    constexpr const char* inhibitorType = "(ssssuu)";
    sd_bus_message* message = reply.get();
    std::vector<PowerManagement::HeldLock> locks;
    int result = sd_bus_message_enter_container(message, 'a', inhibitorType);
    while (result > 0) {
        const char* texts[4] = {};
        std::uint32_t userID = 0;
        std::uint32_t processID = 0;
        result = sd_bus_message_read(message, inhibitorType, &texts[0], &texts[1], &texts[2],
                                     &texts[3], &userID, &processID);
        if (result > 0) {
            locks.push_back({texts[0], texts[1], texts[2], texts[3], userID, processID});
        }
    }
    if (result < 0) {
        throw DBusFailure{.serviceMissing = false,
                          .status = result,
                          .errorName = {},
                          .reason = "an answer that is not a list of locks"};
    }
    return locks;
}

}  // namespace

LinuxPowerManagement::LinuxPowerManagement(std::string applicationName)
    : applicationName_(std::move(applicationName)) {}

PowerManagement::AssertionCreation LinuxPowerManagement::createAssertion(std::string_view type,
                                                                         std::uint32_t,
                                                                         std::string_view name) {
    const std::lock_guard guard(lock_);
    try {
        Inhibition inhibition = inhibit(type, name);
        const std::uint32_t assertionID = unusedAssertionID();
        inhibitions_.emplace(assertionID, std::move(inhibition));
        return {.status = IOReturn::success, .assertionID = assertionID};
    } catch (const DBusFailure& failure) {
        failureDetail_ = failure.reason;
        return {.status = failure.serviceMissing ? IOReturn::unsupported : failure.status,
                .assertionID = 0};
    }
}

std::int32_t LinuxPowerManagement::releaseAssertion(std::uint32_t assertionID) {
    const std::lock_guard guard(lock_);
    const auto found = inhibitions_.find(assertionID);
    if (found == inhibitions_.end()) {
        return IOReturn::notFound;
    }
    try {
        release(found->second);
    } catch (const DBusFailure& failure) {
        failureDetail_ = failure.reason;
        return failure.status;
    }
    inhibitions_.erase(found);
    if (!holdsSessionInhibition()) {
        sessionBus_.reset();
    }
    return IOReturn::success;
}

PowerManagement::RootDomainCall LinuxPowerManagement::setClamshellSleepDisabled(bool disabled) {
    using Outcome = RootDomainCall::Outcome;
    const std::lock_guard guard(lock_);
    if (!disabled) {
        lidSwitchLock_.close();
        return {.outcome = Outcome::accepted, .status = 0};
    }
    if (lidSwitchLock_.isOpen()) {
        return {.outcome = Outcome::accepted, .status = 0};
    }
    try {
        lidSwitchLock_ =
            inhibitLogind(lidSwitchLock, applicationName_ + " keeps running with the lid closed");
        return {.outcome = Outcome::accepted, .status = 0};
    } catch (const DBusFailure& failure) {
        failureDetail_ = failure.reason;
        return failure.serviceMissing
                   ? RootDomainCall{.outcome = Outcome::serviceMissing, .status = 0}
                   : RootDomainCall{.outcome = Outcome::callFailed, .status = failure.status};
    }
}

std::string LinuxPowerManagement::failureDetail() const {
    const std::lock_guard guard(lock_);
    return failureDetail_;
}

std::string LinuxPowerManagement::displayNotKeptOnReason() const {
    const std::lock_guard guard(lock_);
    for (const auto& [assertionID, inhibition] : inhibitions_) {
        if (const auto* absent = std::get_if<AbsentDisplay>(&inhibition)) {
            return absent->reason;
        }
    }
    return {};
}

std::vector<PowerManagement::HeldLock> LinuxPowerManagement::heldLocks() const {
    try {
        return readInhibitors(
            DBusConnection::open(DBusConnection::Bus::system).call(logindListInhibitors, ""));
    } catch (const DBusFailure& failure) {
        throw std::runtime_error(
            described(failure, "cannot list the locks held by", logindService).reason);
    }
}

LinuxPowerManagement::Inhibition LinuxPowerManagement::inhibit(std::string_view type,
                                                               std::string_view name) {
    if (type == systemAssertionType) {
        return inhibitLogind(idleLock, name);
    }
    if (type == displayAssertionType) {
        return inhibitDisplay(name);
    }
    throw unsupportedType(type);
}

FileDescriptor LinuxPowerManagement::inhibitLogind(const LogindLock& lock,
                                                   std::string_view why) const {
    try {
        // The lock lives in its descriptor, not in the connection, which closes right away.
        DBusConnection systemBus = DBusConnection::open(DBusConnection::Bus::system);
        if (::isatty(STDIN_FILENO) == 1) {
            systemBus.allowInteractiveAuthorization();
        }
        const std::string reason(why);
        return systemBus
            .call(logindInhibit, "ssss", lock.what, applicationName_.c_str(), reason.c_str(),
                  blockMode)
            .readDescriptor();
    } catch (const DBusFailure& failure) {
        throw described(failure, "cannot take " + std::string(lock.description) + " from",
                        logindService);
    }
}

// A display is there to keep on only in a graphical session, which has its session bus.
LinuxPowerManagement::Inhibition LinuxPowerManagement::inhibitDisplay(std::string_view why) {
    if (!isSet("WAYLAND_DISPLAY") && !isSet("DISPLAY")) {
        return AbsentDisplay{"neither WAYLAND_DISPLAY nor DISPLAY is set"};
    }
    if (!sessionBus_ || !sessionBus_->isOpen()) {
        try {
            sessionBus_ = DBusConnection::open(DBusConnection::Bus::session);
        } catch (const DBusFailure& failure) {
            return AbsentDisplay{failure.reason};
        }
    }
    try {
        return inhibitThroughPortal(why);
    } catch (const DBusFailure& failure) {
        if (!failure.serviceMissing) {
            throw;
        }
    }
    try {
        return inhibitScreenSaver(why);
    } catch (const DBusFailure& failure) {
        if (!failure.serviceMissing) {
            throw;
        }
        throw DBusFailure{
            .serviceMissing = true,
            .status = failure.status,
            .errorName = failure.errorName,
            .reason = "cannot take the display lock: neither " + std::string(portalService) +
                      " nor " + std::string(screenSaverService) +
                      " answers on the session bus; --allow-display-sleep keeps only the system "
                      "awake"};
    }
}

LinuxPowerManagement::PortalRequest LinuxPowerManagement::inhibitThroughPortal(
    std::string_view why) {
    const std::string reason(why);
    try {
        // No window to attach the request to, and one option: the reason.
        return {sessionBus_
                    ->call(portalInhibit, "sua{sv}", "", portalIdleFlag, 1u, "reason", "s",
                           reason.c_str())
                    .readObjectPath()};
    } catch (const DBusFailure& failure) {
        throw described(failure, "cannot take the display lock from", portalService);
    }
}

LinuxPowerManagement::ScreenSaverCookie LinuxPowerManagement::inhibitScreenSaver(
    std::string_view why) {
    const std::string reason(why);
    try {
        return {
            sessionBus_->call(screenSaverInhibit, "ss", applicationName_.c_str(), reason.c_str())
                .readUInt32()};
    } catch (const DBusFailure& failure) {
        throw described(failure, "cannot take the display lock from", screenSaverService);
    }
}

// A lock's descriptor closes with it; an absent display holds nothing.
void LinuxPowerManagement::release(const Inhibition& inhibition) {
    if (const auto* cookie = std::get_if<ScreenSaverCookie>(&inhibition)) {
        uninhibitScreenSaver(*cookie);
    } else if (const auto* request = std::get_if<PortalRequest>(&inhibition)) {
        closePortalRequest(*request);
    }
}

// A portal or a session bus that has gone away took the inhibition with it.
void LinuxPowerManagement::closePortalRequest(const PortalRequest& request) {
    if (!sessionBus_ || !sessionBus_->isOpen()) {
        return;
    }
    const DBusMethod close{portalInhibit.destination, request.handle.c_str(),
                           "org.freedesktop.portal.Request", "Close"};
    try {
        sessionBus_->call(close, "");
    } catch (const DBusFailure& failure) {
        if (!failure.serviceMissing) {
            throw described(failure, "cannot release the display lock of", portalService);
        }
    }
}

// A screen saver or a session bus that has gone away took the inhibition with it.
void LinuxPowerManagement::uninhibitScreenSaver(ScreenSaverCookie cookie) {
    if (!sessionBus_ || !sessionBus_->isOpen()) {
        return;
    }
    try {
        sessionBus_->call(screenSaverUninhibit, "u", cookie.value);
    } catch (const DBusFailure& failure) {
        if (!failure.serviceMissing) {
            throw described(failure, "cannot release the display lock of", screenSaverService);
        }
    }
}

std::uint32_t LinuxPowerManagement::unusedAssertionID() noexcept {
    do {
        ++lastAssertionID_;
    } while (lastAssertionID_ == 0 || inhibitions_.contains(lastAssertionID_));
    return lastAssertionID_;
}

bool LinuxPowerManagement::holdsSessionInhibition() const noexcept {
    for (const auto& [assertionID, inhibition] : inhibitions_) {
        if (std::holds_alternative<ScreenSaverCookie>(inhibition) ||
            std::holds_alternative<PortalRequest>(inhibition)) {
            return true;
        }
    }
    return false;
}

PowerManagement& PowerManagement::system() {
    static LinuxPowerManagement linuxPowerManagement;
    return linuxPowerManagement;
}

}  // namespace tallowbeck
