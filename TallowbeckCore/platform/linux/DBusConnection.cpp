#include "TallowbeckCore/platform/linux/DBusConnection.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace tallowbeck {
namespace {

// logind and the screen savers answer at once; a bus that keeps a caller waiting longer than
// this is treated as failing rather than left to hang a session's start or end.
constexpr std::uint64_t callTimeoutMicroseconds = 5'000'000;
// Time enough for a person to read a password prompt and answer it.
constexpr std::uint64_t interactiveCallTimeoutMicroseconds = 120'000'000;
// The lowest descriptor a duplicate may get, leaving the standard streams alone.
constexpr int firstFreeDescriptor = 3;

// Errors by which the bus or the owner of a name says that there is nothing to call.
constexpr std::array<std::string_view, 5> absentServiceErrors{
    "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
    "org.freedesktop.DBus.Error.UnknownObject", "org.freedesktop.DBus.Error.UnknownInterface",
    "org.freedesktop.DBus.Error.UnknownMethod"};
// A bus that tried to start the service on demand and could not.
constexpr std::string_view failedActivationPrefix = "org.freedesktop.DBus.Error.Spawn.";

bool meansServiceAbsent(std::string_view errorName) noexcept {
    for (const std::string_view absent : absentServiceErrors) {
        if (errorName == absent) {
            return true;
        }
    }
    return errorName.starts_with(failedActivationPrefix);
}

std::string systemMessage(int negativeErrno) { return std::strerror(-negativeErrno); }

const char* busName(DBusConnection::Bus bus) noexcept {
    return bus == DBusConnection::Bus::system ? "the system bus" : "the session bus";
}

DBusFailure readFailure(int result) {
    return {.serviceMissing = false,
            .status = result,
            .errorName = {},
            .reason = "unexpected reply: " + systemMessage(result)};
}

}  // namespace

FileDescriptor DBusReply::readDescriptor() {
    int descriptor = -1;
    if (const int result = sd_bus_message_read(message_.get(), "h", &descriptor); result < 0) {
        throw readFailure(result);
    }
    // The reply owns the descriptor it carries and closes it with the reply.
    FileDescriptor duplicate(::fcntl(descriptor, F_DUPFD_CLOEXEC, firstFreeDescriptor));
    if (!duplicate.isOpen()) {
        throw readFailure(-errno);
    }
    return duplicate;
}

std::uint32_t DBusReply::readUInt32() {
    std::uint32_t value = 0;
    if (const int result = sd_bus_message_read(message_.get(), "u", &value); result < 0) {
        throw readFailure(result);
    }
    return value;
}

std::string DBusReply::readObjectPath() {
    const char* path = nullptr;
    if (const int result = sd_bus_message_read(message_.get(), "o", &path); result < 0) {
        throw readFailure(result);
    }
    return path;
}

DBusConnection DBusConnection::open(Bus bus) {
    sd_bus* connection = nullptr;
    const int result =
        bus == Bus::system ? sd_bus_open_system(&connection) : sd_bus_open_user(&connection);
    if (result < 0) {
        throw DBusFailure{.serviceMissing = true,
                          .status = result,
                          .errorName = {},
                          .reason = std::string("cannot connect to ") + busName(bus) + ": " +
                                    systemMessage(result)};
    }
    DBusConnection opened(connection);
    sd_bus_set_method_call_timeout(connection, callTimeoutMicroseconds);
    return opened;
}

bool DBusConnection::isOpen() const noexcept { return sd_bus_is_open(bus_.get()) > 0; }

void DBusConnection::allowInteractiveAuthorization() noexcept {
    sd_bus_set_allow_interactive_authorization(bus_.get(), 1);
    sd_bus_set_method_call_timeout(bus_.get(), interactiveCallTimeoutMicroseconds);
}

bool DBusConnection::booleanProperty(const DBusMethod& property) {
    sd_bus_error error{};
    int value = 0;
    const int result =
        sd_bus_get_property_trivial(bus_.get(), property.destination, property.path,
                                    property.interface, property.member, &error, 'b', &value);
    if (result < 0) {
        throwCallFailure(error, result);
    }
    return value != 0;
}

void DBusConnection::throwCallFailure(sd_bus_error& error, int result) {
    const std::string_view name = error.name != nullptr ? error.name : "";
    DBusFailure failure{.serviceMissing = meansServiceAbsent(name),
                        .status = result,
                        .errorName = std::string(name),
                        .reason = error.message != nullptr ? error.message : systemMessage(result)};
    sd_bus_error_free(&error);
    throw failure;
}

}  // namespace tallowbeck
