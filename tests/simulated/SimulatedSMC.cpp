#include "tests/simulated/SimulatedSMC.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace tallowbeck::testing {
namespace {

constexpr std::uint32_t floatType = fourCharCode("flt ");
constexpr std::uint32_t byteType = fourCharCode("ui8 ");
constexpr std::size_t truncatedOutputSize = SMCKeyData::size / 2;

// A key as the firmware reports it: its type, size and numeric value.
struct KeyEntry {
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    double value = 0.0;
};

constexpr std::uint32_t fanCountKey = fourCharCode("FNum");

enum class FanField { actual, minimum, maximum, target, mode };

// The two-letter suffixes of the fan keys.
constexpr std::array<std::pair<std::uint32_t, FanField>, 5> fanFields{{
    {fourCharCode("Ac"), FanField::actual},
    {fourCharCode("Mn"), FanField::minimum},
    {fourCharCode("Mx"), FanField::maximum},
    {fourCharCode("Tg"), FanField::target},
    {fourCharCode("Md"), FanField::mode},
}};

double fanValue(const SimulatedSMCState::Fan& fan, FanField field) noexcept {
    switch (field) {
        case FanField::actual:
            return fan.actualRPM;
        case FanField::minimum:
            return fan.minimumRPM;
        case FanField::maximum:
            return fan.maximumRPM;
        case FanField::target:
            return fan.targetRPM;
        case FanField::mode:
            break;
    }
    return fan.forced ? 1.0 : 0.0;
}

// Fan keys are "F", one decimal digit and a suffix. Keys are looked at as codes, since the
// simulator answers tens of thousands of calls in some tests.
struct FanKeyParts {
    std::size_t fan = 0;
    FanField field = FanField::actual;
};

std::optional<FanKeyParts> fanKeyParts(std::uint32_t code) noexcept {
    const std::uint32_t digit = (code >> 16) & 0xFF;
    if ((code >> 24) != 'F' || digit < '0' || digit > '9') {
        return std::nullopt;
    }
    for (const auto& [suffix, field] : fanFields) {
        if ((code & 0xFFFF) == suffix) {
            return FanKeyParts{.fan = digit - '0', .field = field};
        }
    }
    return std::nullopt;
}

std::optional<KeyEntry> firmwareKey(const SimulatedSMCState& state, std::uint32_t code) {
    if (code == fanCountKey) {
        return KeyEntry{
            .type = byteType, .size = 1, .value = static_cast<double>(state.reportedFanCount)};
    }
    if (const auto parts = fanKeyParts(code); parts && parts->fan < state.fans.size()) {
        const bool mode = parts->field == FanField::mode;
        return KeyEntry{.type = mode ? byteType : floatType,
                        .size = mode ? 1U : 4U,
                        .value = fanValue(state.fans[parts->fan], parts->field)};
    }
    if ((code >> 24) != 'T') {
        return std::nullopt;
    }
    if (const auto temperature = state.temperatures.find(keyText(code));
        temperature != state.temperatures.end()) {
        return KeyEntry{.type = floatType, .size = 4, .value = temperature->second};
    }
    return std::nullopt;
}

// The key as reported, after any override of its type or size.
std::optional<KeyEntry> reportedKey(const SimulatedSMCState& state, std::uint32_t code) {
    std::optional<KeyEntry> entry = firmwareKey(state, code);
    if (!entry || state.keyInfoOverrides.empty()) {
        return entry;
    }
    if (const auto override = state.keyInfoOverrides.find(keyText(code));
        override != state.keyInfoOverrides.end()) {
        entry->type = fourCharCode(override->second.type);
        entry->size = override->second.size;
    }
    return entry;
}

// Floats as their four bytes, every other type as a little-endian unsigned integer.
std::array<std::uint8_t, 32> encodedValue(const KeyEntry& entry) noexcept {
    std::array<std::uint8_t, 32> bytes{};
    if (entry.type == floatType) {
        const auto raw =
            std::bit_cast<std::array<std::uint8_t, 4>>(static_cast<float>(entry.value));
        std::ranges::copy(raw, bytes.begin());
        return bytes;
    }
    auto integer = static_cast<std::uint64_t>(std::clamp(entry.value, 0.0, 1.8e19));
    for (std::size_t index = 0; index < std::min<std::size_t>(entry.size, 8); ++index) {
        bytes[index] = static_cast<std::uint8_t>(integer & 0xFF);
        integer >>= 8;
    }
    return bytes;
}

void moveTowards(double& value, double goal, double step) noexcept {
    value = value < goal ? std::min(goal, value + step) : std::max(goal, value - step);
}

}  // namespace

std::string fanKey(std::size_t index, std::string_view suffix) {
    std::string key(1, 'F');
    key += std::to_string(index);
    key += suffix;
    return key;
}

std::string keyText(std::uint32_t code) {
    return {static_cast<char>(code >> 24), static_cast<char>((code >> 16) & 0xFF),
            static_cast<char>((code >> 8) & 0xFF), static_cast<char>(code & 0xFF)};
}

SimulatedSMC::SimulatedSMC(SimulatedSMCState initial) : state(std::move(initial)) {}

void SimulatedSMC::advance(double seconds) {
    if (!(seconds > 0.0)) {
        return;
    }
    state.clock += seconds;
    for (SimulatedSMCState::Fan& fan : state.fans) {
        if (!fan.forced) {
            fan.targetRPM = fan.automaticTargetRPM;
        }
        moveTowards(fan.actualRPM, fan.targetRPM, state.rampRPMPerSecond * seconds);
    }
}

void SimulatedSMC::revertForcedModeAfter(std::optional<std::size_t> callCount) noexcept {
    revertAfterCalls_ = callCount;
}

void SimulatedSMC::forceByAnotherController(std::size_t fan, double targetRPM) {
    SimulatedSMCState::Fan& forced = state.fans.at(fan);
    forced.forced = true;
    forced.forcedByAnotherController = true;
    forced.targetRPM = targetRPM;
}

void SimulatedSMC::releaseFromAnotherController(std::size_t fan) {
    SimulatedSMCState::Fan& released = state.fans.at(fan);
    if (released.forcedByAnotherController) {
        released.forced = false;
        released.forcedByAnotherController = false;
        released.targetRPM = released.automaticTargetRPM;
    }
}

void SimulatedSMC::setTemperatures(float cpuCelsius, float gpuCelsius) {
    for (auto& [key, celsius] : state.temperatures) {
        celsius = key.starts_with("Tp") ? cpuCelsius : gpuCelsius;
    }
}

void SimulatedSMC::addFault(FaultRule rule) { faults_.push_back(std::move(rule)); }

void SimulatedSMC::failOpens(Opening::Outcome outcome, std::optional<std::size_t> times) {
    openFault_ = OpenFault{.outcome = outcome, .times = times};
}

void SimulatedSMC::clearFaults() noexcept {
    faults_.clear();
    openFault_.reset();
}

void SimulatedSMC::failModeWrites() {
    for (const char* key : {"F0Md", "F1Md"}) {
        addFault({.fault = Fault::resultByte,
                  .key = key,
                  .command = SMCKeyData::writeBytesCommand,
                  .times = std::nullopt});
    }
}

std::vector<std::string> SimulatedSMC::writtenKeys() const {
    std::vector<std::string> keys;
    for (const Call& call : calls) {
        if (call.input.command == SMCKeyData::writeBytesCommand) {
            keys.push_back(keyText(call.input.key));
        }
    }
    return keys;
}

SMCUserClient::Opening SimulatedSMC::open() noexcept {
    ++openCount;
    if (openFault_ && openFault_->times != std::size_t{0}) {
        if (openFault_->times) {
            --*openFault_->times;
        }
        return {.outcome = openFault_->outcome, .connection = 0, .status = injectedStatus};
    }
    const Connection connection = nextConnection_++;
    openConnections.push_back(connection);
    return {.outcome = Opening::Outcome::opened, .connection = connection, .status = 0};
}

void SimulatedSMC::close(Connection connection) noexcept {
    ++closeCount;
    std::erase(openConnections, connection);
}

std::optional<SimulatedSMC::Fault> SimulatedSMC::injectedFault(const SMCKeyData& input) {
    for (FaultRule& rule : faults_) {
        const bool matches = (!rule.key || fourCharCode(*rule.key) == input.key) &&
                             (!rule.command || *rule.command == input.command);
        if (!matches) {
            continue;
        }
        if (rule.skip > 0) {
            --rule.skip;
            continue;
        }
        if (rule.times == std::size_t{0}) {
            continue;
        }
        if (rule.times) {
            --*rule.times;
        }
        return rule.fault;
    }
    return std::nullopt;
}

void SimulatedSMC::applyDueReverts() {
    if (pendingReverts_.empty()) {
        return;
    }
    const std::size_t now = callCount_;
    std::erase_if(pendingReverts_, [this, now](const PendingRevert& revert) {
        if (revert.atCall > now) {
            return false;
        }
        SimulatedSMCState::Fan& fan = state.fans.at(revert.fan);
        fan.forced = false;
        fan.targetRPM = fan.automaticTargetRPM;
        ++silentReverts;
        return true;
    });
}

std::int32_t SimulatedSMC::callStructMethod(Connection connection, std::uint32_t selector,
                                            std::span<const std::byte> input,
                                            std::span<std::byte> output,
                                            std::size_t& outputSize) noexcept {
    SMCKeyData::Bytes raw{};
    std::memcpy(raw.data(), input.data(), std::min(input.size(), raw.size()));
    Call call{.connection = connection,
              .selector = selector,
              .input = SMCKeyData::fromBytes(raw),
              .status = 0,
              .outputSize = 0,
              .result = 0};
    applyDueReverts();
    if (std::ranges::find(openConnections, connection) == openConnections.end()) {
        call.status = notOpenStatus;
    } else if (selector != SMCKeyData::structMethodSelector || input.size() != SMCKeyData::size ||
               output.size() < SMCKeyData::size || outputSize < SMCKeyData::size) {
        call.status = badArgumentStatus;
    } else if (const std::optional<Fault> fault = injectedFault(call.input);
               fault == Fault::callStatus) {
        call.status = injectedStatus;
    } else {
        // A reply cut short comes from a controller that did act on the call; one with a bad
        // result byte from one that did not.
        SMCKeyData answered = call.input;
        if (fault == Fault::resultByte) {
            answered.result = badArgumentResult;
        } else {
            answered = answer(call.input);
        }
        const SMCKeyData::Bytes bytes = answered.toBytes();
        call.outputSize = fault == Fault::outputSize ? truncatedOutputSize : SMCKeyData::size;
        std::memcpy(output.data(), bytes.data(), call.outputSize);
        call.result = answered.result;
    }
    outputSize = call.outputSize;
    if (call.input.command == SMCKeyData::writeBytesCommand) {
        ++writeCount_;
    }
    ++callCount_;
    calls.push_back(call);
    return call.status;
}

SMCKeyData SimulatedSMC::answer(const SMCKeyData& input) {
    switch (input.command) {
        case SMCKeyData::readKeyInfoCommand:
            return answerKeyInfo(input);
        case SMCKeyData::readBytesCommand:
            return answerRead(input);
        case SMCKeyData::writeBytesCommand:
            if (onWrite) {
                onWrite(input);
            }
            return answerWrite(input);
        default:
            break;
    }
    SMCKeyData output = input;
    output.result = badArgumentResult;
    return output;
}

SMCKeyData SimulatedSMC::answerKeyInfo(SMCKeyData output) const {
    const std::optional<KeyEntry> entry = reportedKey(state, output.key);
    if (!entry) {
        output.result = keyNotFoundResult;
        return output;
    }
    output.dataSize = entry->size;
    output.dataType = entry->type;
    return output;
}

SMCKeyData SimulatedSMC::answerRead(SMCKeyData output) const {
    const std::optional<KeyEntry> entry = reportedKey(state, output.key);
    if (!entry) {
        output.result = keyNotFoundResult;
    } else if (output.dataSize != entry->size) {
        output.result = keySizeMismatchResult;
    } else {
        output.bytes = encodedValue(*entry);
    }
    return output;
}

// Only the fans' mode and target keys are writable, each with its own size.
SMCKeyData SimulatedSMC::answerWrite(SMCKeyData output) {
    const std::optional<FanKeyParts> parts = fanKeyParts(output.key);
    const bool writable = parts && parts->fan < state.fans.size() &&
                          (parts->field == FanField::mode || parts->field == FanField::target);
    if (!writable) {
        output.result = firmwareKey(state, output.key) ? keyNotWritableResult : keyNotFoundResult;
        return output;
    }
    if (parts->field == FanField::mode) {
        if (output.dataSize != 1 || output.bytes[0] > 1) {
            output.result = output.dataSize != 1 ? keySizeMismatchResult : badArgumentResult;
            return output;
        }
        writeMode(parts->fan, output.bytes[0]);
        return output;
    }
    const float rpm = output.floatValue();
    if (output.dataSize != 4 || !std::isfinite(rpm) || rpm < 0.0F) {
        output.result = output.dataSize != 4 ? keySizeMismatchResult : badArgumentResult;
        return output;
    }
    state.fans[parts->fan].targetRPM = rpm;
    return output;
}

void SimulatedSMC::writeMode(std::size_t fan, std::uint8_t mode) {
    SimulatedSMCState::Fan& written = state.fans[fan];
    std::erase_if(pendingReverts_,
                  [fan](const PendingRevert& revert) { return revert.fan == fan; });
    written.forcedByAnotherController = false;
    written.forced = mode == 1;
    if (!written.forced) {
        written.targetRPM = written.automaticTargetRPM;
    } else if (revertAfterCalls_) {
        pendingReverts_.push_back({.fan = fan, .atCall = callCount_ + 1 + *revertAfterCalls_});
    }
}

}  // namespace tallowbeck::testing
