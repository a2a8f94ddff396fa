#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/temperature/SMCKeyData.hpp"
#include "tests/simulated/SimulatedSMCState.hpp"

namespace tallowbeck::testing {

// A system management controller that behaves like the firmware: it holds the fans' state and
// the die temperatures, answers key info, read and write commands as the 80-byte structure
// says, lets actual speeds follow their targets as its own clock advances, and records every
// call. Faults can be injected into any call or open; it can be made to hand a forced fan back
// to automatic control a moment after accepting the write, as real firmware sometimes does.
class SimulatedSMC final : public SMCUserClient {
public:
    // The controller's result bytes.
    static constexpr std::uint8_t keyNotFoundResult = 0x84;
    static constexpr std::uint8_t keyNotWritableResult = 0x86;
    static constexpr std::uint8_t keySizeMismatchResult = 0x87;
    static constexpr std::uint8_t badArgumentResult = 0x89;
    static constexpr std::int32_t badArgumentStatus = static_cast<std::int32_t>(0xE00002C2u);
    static constexpr std::int32_t notOpenStatus = static_cast<std::int32_t>(0xE00002CDu);
    static constexpr std::int32_t injectedStatus = static_cast<std::int32_t>(0xE00002BCu);

    enum class Fault {
        callStatus,  // the call itself fails
        outputSize,  // the call succeeds but hands back fewer bytes than the structure
        resultByte,  // the controller answers with a non-zero result byte
    };

    // Which calls fail, and how. A rule matches the calls with its key and command (any when
    // absent); it lets `skip` of them through, then fails `times` of them (all when absent).
    struct FaultRule {
        Fault fault = Fault::resultByte;
        std::optional<std::string> key = std::nullopt;
        std::optional<std::uint8_t> command = std::nullopt;
        std::size_t skip = 0;
        std::optional<std::size_t> times = 1;
    };

    // One structure call as the controller saw it and answered it.
    struct Call {
        Connection connection = 0;
        std::uint32_t selector = 0;
        SMCKeyData input;
        std::int32_t status = 0;
        std::size_t outputSize = 0;
        std::uint8_t result = 0;
    };

    explicit SimulatedSMC(SimulatedSMCState state = SimulatedSMCState::twoFanMacBookPro());

    SimulatedSMCState state;

    // --- the firmware's own doings ---

    // Runs the firmware's clock: fans in automatic control aim at their automatic target and
    // every actual speed moves towards its target.
    void advance(double seconds);
    // From now on, a fan forced by a write goes back to automatic control `calls` calls later;
    // nothing turns this off.
    void revertForcedModeAfter(std::optional<std::size_t> calls) noexcept;
    void forceByAnotherController(std::size_t fan, double targetRPM);
    void releaseFromAnotherController(std::size_t fan);
    void setTemperatures(float cpuCelsius, float gpuCelsius);

    // --- faults ---

    void addFault(FaultRule rule);
    // The next `times` opens (all when absent) fail with `outcome`.
    void failOpens(Opening::Outcome outcome, std::optional<std::size_t> times = 1);
    void clearFaults() noexcept;
    // Every write of either fan's mode fails with a result byte until the faults are cleared.
    void failModeWrites();

    // --- what happened ---

    std::vector<Call> calls;
    std::size_t openCount = 0;
    std::size_t closeCount = 0;
    std::size_t silentReverts = 0;            // forced fans the firmware took back
    std::vector<Connection> openConnections;  // a handful at most, so a plain list
    // Called with each write's input before the firmware acts on it.
    std::function<void(const SMCKeyData&)> onWrite;

    // Calls with the write command, answered or not.
    std::size_t writeCount() const noexcept { return writeCount_; }
    // Every structure call so far, also those a test has since cleared from `calls`.
    std::size_t callCount() const noexcept { return callCount_; }
    // The keys written, in order.
    std::vector<std::string> writtenKeys() const;

    Opening open() noexcept override;
    std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                  std::span<const std::byte> input, std::span<std::byte> output,
                                  std::size_t& outputSize) noexcept override;
    void close(Connection connection) noexcept override;

private:
    struct PendingRevert {
        std::size_t fan = 0;
        std::size_t atCall = 0;
    };
    struct OpenFault {
        Opening::Outcome outcome = Opening::Outcome::serviceMissing;
        std::optional<std::size_t> times;
    };

    std::optional<Fault> injectedFault(const SMCKeyData& input);
    void applyDueReverts();
    SMCKeyData answer(const SMCKeyData& input);
    SMCKeyData answerKeyInfo(SMCKeyData output) const;
    SMCKeyData answerRead(SMCKeyData output) const;
    SMCKeyData answerWrite(SMCKeyData output);
    void writeMode(std::size_t fan, std::uint8_t mode);

    std::vector<FaultRule> faults_;
    std::optional<OpenFault> openFault_;
    std::optional<std::size_t> revertAfterCalls_;
    std::vector<PendingRevert> pendingReverts_;
    Connection nextConnection_ = 0x1000;
    std::size_t writeCount_ = 0;
    std::size_t callCount_ = 0;
};

// Fan `index`'s key with `suffix` ("F0Md").
std::string fanKey(std::size_t index, std::string_view suffix);
// The four-character text of a key code.
std::string keyText(std::uint32_t code);

}  // namespace tallowbeck::testing
