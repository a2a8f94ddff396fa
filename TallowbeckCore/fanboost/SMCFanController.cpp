#include "TallowbeckCore/fanboost/SMCFanController.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/support/UTF8.hpp"
#include "TallowbeckCore/temperature/SMCKeyData.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;

constexpr const char* modelName = "hw.model";
constexpr std::size_t modelBufferSize = 128;
constexpr std::uint8_t forcedMode = 1;
constexpr std::uint8_t automaticMode = 0;

// Fan keys are "F", the fan's index and a two-letter suffix: "F1Md" is fan 1's mode.
class FanKey {
public:
    FanKey(std::size_t index, std::string_view suffix) noexcept
        : text_{'F', static_cast<char>('0' + index), suffix[0], suffix[1]} {}

    operator std::string_view() const noexcept { return {text_.data(), text_.size()}; }

private:
    std::array<char, 4> text_;
};

std::string readModel(SystemValues& values) {
    std::array<char, modelBufferSize> buffer{};
    const std::optional<std::size_t> length = values.readValue(modelName, buffer);
    if (!length) {
        return {};
    }
    const std::string_view text(buffer.data(), std::min(*length, buffer.size()));
    return UTF8::fromZeroTerminated(text);
}

bool isSupportedModel(SystemValues& values) {
    return std::ranges::find(SMCFanController::supportedModels, readModel(values)) !=
           SMCFanController::supportedModels.end();
}

void requireFanIndex(std::size_t index) {
    if (index >= SMCFanController::fanCount) {
        throw FanBoostHardwareError(Kind::unsupported, "there is no fan " + std::to_string(index) +
                                                           ", only fans 0 and 1 are driven");
    }
}

// A key type's four characters as the controller names it, each unprintable byte as '?'.
std::string typeName(std::uint32_t type) {
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<char>((type >> shift) & 0xFF);
        name += character >= ' ' && character <= '~' ? character : '?';
    }
    return name;
}

[[noreturn]] void throwUnexpectedKey(std::string_view key, std::uint32_t type, std::uint32_t size,
                                     std::string_view expected) {
    throw FanBoostHardwareError(Kind::unsupported, "the fan key " + std::string(key) + " holds a " +
                                                       std::to_string(size) + "-byte \"" +
                                                       typeName(type) + "\" value where " +
                                                       std::string(expected) + " is expected");
}

std::string shortest(double number) {
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), written.ptr};
}

std::string fanCountText(std::optional<double> count) {
    return count ? "is " + shortest(*count) : "cannot be read as a number";
}

}  // namespace

SMCFanController::SMCFanController(SMCConnection connection) noexcept
    : connection_(std::move(connection)) {}

SMCFanController SMCFanController::open(SMCUserClient& smc, SystemValues& values) {
    if (!isSupportedModel(values)) {
        throw FanBoostHardwareError(Kind::unsupported);
    }
    const SMCUserClient::Opening opening = smc.open();
    switch (opening.outcome) {
        case SMCUserClient::Opening::Outcome::opened:
            return SMCFanController(SMCConnection(smc, opening.connection));
        case SMCUserClient::Opening::Outcome::openFailed:
            throw FanBoostHardwareError(Kind::unavailable, opening.status);
        case SMCUserClient::Opening::Outcome::serviceMissing:
            break;
    }
    throw FanBoostHardwareError(Kind::unavailable);
}

SMCKeyData SMCFanController::call(const SMCKeyData& input) const {
    SMCKeyData output;
    if (!connection_.call(input, output)) {
        throw FanBoostHardwareError(Kind::rejected);
    }
    return output;
}

SMCKeyData SMCFanController::readKeyInfo(std::string_view key) const {
    return call(SMCKeyData::request(key, SMCKeyData::readKeyInfoCommand));
}

SMCFanController::KeyValue SMCFanController::readKey(std::string_view key) const {
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::readKeyInfoCommand);
    const SMCKeyData info = call(input);
    if (info.dataSize != 1 && info.dataSize != 4) {
        throw FanBoostHardwareError(Kind::invalidReading);
    }
    input.dataSize = info.dataSize;
    input.command = SMCKeyData::readBytesCommand;
    const SMCKeyData output = call(input);
    // All four bytes in one go, whatever the size: `value()` shows only the key's own.
    KeyValue value{.type = info.dataType, .size = info.dataSize, .bytes = {}};
    std::memcpy(value.bytes.data(), output.bytes.data(), value.bytes.size());
    return value;
}

void SMCFanController::writeKey(std::string_view key, std::span<const std::uint8_t> value) const {
    if (std::ranges::find(writableKeys, key) == writableKeys.end()) {
        throw FanBoostHardwareError(Kind::rejected);
    }
    SMCKeyData input = SMCKeyData::request(key, SMCKeyData::writeBytesCommand);
    if (value.size() > input.bytes.size()) {
        throw std::length_error("an SMC value holds at most 32 bytes");
    }
    input.dataSize = static_cast<std::uint32_t>(value.size());
    std::ranges::copy(value, input.bytes.begin());
    call(input);
}

double SMCFanController::readDecoded(std::string_view key) const {
    const KeyValue value = readKey(key);
    const std::optional<double> decoded = FanBoostHardware::decode(value.type, value.value());
    if (!decoded) {
        throw FanBoostHardwareError(Kind::invalidReading);
    }
    return *decoded;
}

FanSpeed SMCFanController::readFan(std::size_t index) const {
    FanSpeed fan;
    fan.id = static_cast<std::int64_t>(index);
    fan.actualRPM = readDecoded(FanKey(index, "Ac"));
    fan.minimumRPM = readDecoded(FanKey(index, "Mn"));
    fan.maximumRPM = readDecoded(FanKey(index, "Mx"));
    fan.targetRPM = readDecoded(FanKey(index, "Tg"));
    const double mode = readDecoded(FanKey(index, "Md"));
    if (mode != forcedMode && mode != automaticMode) {
        throw FanBoostHardwareError(Kind::invalidReading);
    }
    fan.manual = mode == forcedMode;
    if (!fan.isPlausible()) {
        throw FanBoostHardwareError(Kind::invalidReading);
    }
    return fan;
}

std::vector<FanSpeed> SMCFanController::readFans() const {
    const KeyValue count = readKey("FNum");
    const std::optional<double> fans = FanBoostHardware::decode(count.type, count.value());
    if (fans != static_cast<double>(fanCount)) {
        throw FanBoostHardwareError(
            Kind::unsupported,
            "the fan count " + fanCountText(fans) + " where machines with 2 fans are supported");
    }
    return {readFan(0), readFan(1)};
}

void SMCFanController::setMode(std::size_t index, bool forced) const {
    requireFanIndex(index);
    const FanKey key(index, "Md");
    const KeyValue mode = readKey(key);
    if (mode.type != SMCKeyData::byteType || mode.size != 1) {
        throwUnexpectedKey(key, mode.type, mode.size, "a 1-byte \"ui8 \"");
    }
    const std::uint8_t wanted = forced ? forcedMode : automaticMode;
    if (mode.bytes[0] != wanted) {
        writeKey(key, std::span(&wanted, 1));
    }
}

void SMCFanController::setTarget(std::size_t index, double rpm) const {
    requireFanIndex(index);
    const FanKey key(index, "Tg");
    const SMCKeyData info = readKeyInfo(key);
    if (info.dataType != SMCKeyData::floatType || info.dataSize != 4) {
        throwUnexpectedKey(key, info.dataType, info.dataSize, "a 4-byte \"flt \"");
    }
    // NaN fails both comparisons and the infinities lie outside the range.
    if (!(rpm >= lowestTargetRPM && rpm <= highestTargetRPM)) {
        throw FanBoostHardwareError(Kind::unsupported, "the fan target " + shortest(rpm) +
                                                           " rpm lies outside 500 to 10000 rpm");
    }
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(static_cast<float>(rpm));
    writeKey(key, bytes);
}

}  // namespace tallowbeck
