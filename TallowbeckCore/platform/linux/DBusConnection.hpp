#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <string>

#include "TallowbeckCore/posix/FileDescriptor.hpp"

namespace tallowbeck {

// Why a D-Bus call gave no answer.
struct DBusFailure {
    // Nobody is there to ask: no bus to connect to, no owner of the name, or an owner that
    // offers no such object, interface or method.
    bool serviceMissing = false;
    std::int32_t status = 0;  // the failure as a negative errno
    // The D-Bus error's name, "org.freedesktop.DBus.Error.AccessDenied"; empty when the failure
    // was no D-Bus error (no bus to connect to, a reply that could not be read).
    std::string errorName;
    // In words, for the user: what the service said, or why there is no answer.
    std::string reason;
};

// One method on one object of one bus name; for a property, its name stands as the member.
struct DBusMethod {
    const char* destination;
    const char* path;
    const char* interface;
    const char* member;
};

// A method's reply, read argument by argument. Failed reads throw DBusFailure.
class DBusReply {
public:
    explicit DBusReply(sd_bus_message* message) noexcept : message_(message) {}

    // A Unix descriptor argument ("h"), duplicated so that it outlives the reply and closed on
    // exec, so that no program this process starts ever holds it.
    FileDescriptor readDescriptor();
    std::uint32_t readUInt32();
    std::string readObjectPath();

    // For readers of containers that have no reader here.
    sd_bus_message* get() const noexcept { return message_.get(); }

private:
    struct Unreference {
        void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
    };
    std::unique_ptr<sd_bus_message, Unreference> message_;
};

// A connection to the system or the user's session bus through sd-bus, which finds them as
// D-Bus clients do (DBUS_SYSTEM_BUS_ADDRESS, DBUS_SESSION_BUS_ADDRESS or the usual sockets).
// Closed when its owner lets it go. Not thread-safe.
class DBusConnection {
public:
    enum class Bus { system, session };

    // Throws DBusFailure (a missing service) when the bus cannot be reached.
    static DBusConnection open(Bus bus);

    // False once the bus has gone away.
    bool isOpen() const noexcept;

    // Lets the services that this connection calls ask the user, through a polkit agent, for
    // the authorization a call needs, as tools run from a terminal do. Calls may then wait for
    // the person to answer, so they are given longer.
    void allowInteractiveAuthorization() noexcept;

    // Calls `method` with arguments given as sd-bus types (`signature`, "ssss" for four texts);
    // throws DBusFailure when the call fails or is not answered within a few seconds.
    template <typename... Arguments>
    DBusReply call(const DBusMethod& method, const char* signature, Arguments... arguments) {
        sd_bus_error error{};  // SD_BUS_ERROR_NULL, whose compound literal is C only
        sd_bus_message* reply = nullptr;
        const int result =
            sd_bus_call_method(bus_.get(), method.destination, method.path, method.interface,
                               method.member, &error, &reply, signature, arguments...);
        if (result < 0) {
            throwCallFailure(error, result);
        }
        return DBusReply(reply);
    }

    // The value of a boolean property; throws DBusFailure as `call` does.
    bool booleanProperty(const DBusMethod& property);

private:
    struct Close {
        void operator()(sd_bus* bus) const noexcept { sd_bus_flush_close_unref(bus); }
    };

    explicit DBusConnection(sd_bus* bus) noexcept : bus_(bus) {}

    // Frees `error`.
    [[noreturn]] static void throwCallFailure(sd_bus_error& error, int result);

    std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace tallowbeck
