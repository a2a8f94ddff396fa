#include "TallowbeckCore/temperature/SMCConnection.hpp"

#include <utility>

#include "TallowbeckCore/platform/IOReturn.hpp"
#include "TallowbeckCore/temperature/ChipTemperatureReading.hpp"

namespace tallowbeck {
namespace {

constexpr std::uint32_t floatType = fourCharCode("flt ");
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

std::optional<SMCKeyData> SMCConnection::call(const SMCKeyData& input) const noexcept {
    if (!connection_) {
        return std::nullopt;
    }
    const SMCKeyData::Bytes request = input.toBytes();
    SMCKeyData::Bytes reply{};
    std::size_t outputSize = reply.size();
    const std::int32_t status = client_->callStructMethod(
        *connection_, SMCKeyData::structMethodSelector, request, reply, outputSize);
    if (status != IOReturn::success || outputSize != SMCKeyData::size) {
        return std::nullopt;
    }
    const SMCKeyData output = SMCKeyData::fromBytes(reply);
    if (output.result != 0) {
        return std::nullopt;
    }
    return output;
}

std::optional<double> SMCConnection::readKeyFloat(std::string_view key) const noexcept {
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::readKeyInfoCommand);
    const std::optional<SMCKeyData> info = call(input);
    if (!info || info->dataSize != floatSize || info->dataType != floatType) {
        return std::nullopt;
    }
    input.dataSize = floatSize;
    input.command = SMCKeyData::readBytesCommand;
    const std::optional<SMCKeyData> value = call(input);
    if (!value) {
        return std::nullopt;
    }
    return ChipTemperatureReading::plausibleCelsius(value->floatValue());
}

}  // namespace tallowbeck
