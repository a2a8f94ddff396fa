#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "TallowbeckCore/fanboost/FanSpeed.hpp"
#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/platform/SystemValues.hpp"
#include "TallowbeckCore/temperature/SMCConnection.hpp"

namespace tallowbeck {

// The fan keys of the system management controller, over one connection that is closed when the
// controller goes. Only the two fans' mode and target keys can ever be written. Every failure is
// a FanBoostHardwareError.
class SMCFanController {
public:
    static constexpr std::array<std::string_view, 4> supportedModels{
        "MacBookPro18,1", "MacBookPro18,2", "MacBookPro18,3", "MacBookPro18,4"};
    static constexpr std::array<std::string_view, 4> writableKeys{"F0Md", "F1Md", "F0Tg", "F1Tg"};
    static constexpr std::size_t fanCount = 2;
    static constexpr double lowestTargetRPM = 500.0;
    static constexpr double highestTargetRPM = 10000.0;

    // A key's type code and value as the controller holds them.
    struct KeyValue {
        std::uint32_t type = 0;
        std::uint32_t size = 0;  // 1 or 4
        std::array<std::uint8_t, 4> bytes{};

        std::span<const std::uint8_t> value() const noexcept {
            return std::span(bytes).first(size);
        }
    };

    // unsupported when "hw.model" cannot be read or names another model; unavailable when the
    // service is missing or does not open.
    static SMCFanController open(SMCUserClient& smc, SystemValues& values);

    // invalidReading for a key whose size is neither 1 nor 4; rejected when a call fails.
    KeyValue readKey(std::string_view key) const;
    // rejected, before anything is sent, for a key that is not writable, and when the call fails.
    void writeKey(std::string_view key, std::span<const std::uint8_t> value) const;

    // Both fans, after checking that the controller reports exactly two (unsupported otherwise).
    std::vector<FanSpeed> readFans() const;
    // Writes nothing when the fan is already in that mode. unsupported unless the mode key is a
    // one-byte "ui8 ".
    void setMode(std::size_t index, bool forced) const;
    // unsupported unless the target key is a four-byte "flt " and `rpm` lies from 500 to 10000.
    void setTarget(std::size_t index, double rpm) const;

private:
    explicit SMCFanController(SMCConnection connection) noexcept;

    // The controller's answer; rejected when there is none.
    SMCKeyData call(const SMCKeyData& input) const;
    SMCKeyData readKeyInfo(std::string_view key) const;
    double readDecoded(std::string_view key) const;
    FanSpeed readFan(std::size_t index) const;

    SMCConnection connection_;
};

}  // namespace tallowbeck
