#include "TallowbeckCore/temperature/SMCConnection.hpp"

#include <span>
#include <utility>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {
namespace {

constexpr std::uint32_t floatSize = 4;

}  // namespace

std::optional<SMCConnection> SMCConnection::open(SMCUserClient& client) noexcept {
    const SMCUserClient::Opening opening = client.open();
    if (opening.outcome != SMCUserClient::Opening::Outcome::opened) {
        return std::nullopt;
    }
    return std::optional<SMCConnection>(std::in_place, client, opening.connection);
}

SMCConnection::SMCConnection(SMCUserClient& client, SMCUserClient::Connection connection) noexcept
    : client_(&client), connection_(connection) {}

SMCConnection::SMCConnection(SMCConnection&& other) noexcept
    : client_(other.client_), connection_(std::exchange(other.connection_, std::nullopt)) {}

SMCConnection& SMCConnection::operator=(SMCConnection&& other) noexcept {
    if (this != &other) {
        close();
        client_ = other.client_;
        connection_ = std::exchange(other.connection_, std::nullopt);
    }
    return *this;
}

SMCConnection::~SMCConnection() { close(); }

void SMCConnection::close() noexcept {
    if (connection_) {
        client_->close(*connection_);
        connection_.reset();
    }
}

// The structure goes to the controller and comes back in place, as its own bytes, with no copy
// on the way: a tick of the fan boost makes fifty of these calls.
bool SMCConnection::call(const SMCKeyData& input, SMCKeyData& output) const noexcept {
    if (!connection_) {
        return false;
    }
    output = SMCKeyData();
    std::size_t outputSize = SMCKeyData::size;
    const std::int32_t status = client_->callStructMethod(
        *connection_, SMCKeyData::structMethodSelector, std::as_bytes(std::span(&input, 1)),
        std::as_writable_bytes(std::span(&output, 1)), outputSize);
    return status == IOReturn::success && outputSize == SMCKeyData::size && output.result == 0;
}

std::optional<double> SMCConnection::readKeyFloat(std::string_view key) const noexcept {
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::readKeyInfoCommand);
    SMCKeyData output;
    if (!call(input, output) || output.dataSize != floatSize ||
        output.dataType != SMCKeyData::floatType) {
        return std::nullopt;
    }
    input.dataSize = floatSize;
    input.command = SMCKeyData::readBytesCommand;
    if (!call(input, output)) {
        return std::nullopt;
    }
    return ChipTemperatureReading::plausibleCelsius(output.floatValue());
}

}  // namespace tallowbeck
