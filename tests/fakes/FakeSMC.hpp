#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "TallowbeckCore/platform/SMCUserClient.hpp"
#include "TallowbeckCore/temperature/SMCKeyData.hpp"

namespace tallowbeck::testing {

// A system management controller that answers each key and command with a reply a test
// prepared, and records every call. Keys or commands without a prepared reply get a non-zero
// result byte, as the controller gives for a key it does not have.
class FakeSMC final : public SMCUserClient {
public:
    static constexpr std::uint8_t unknownKeyResult = 1;
    static constexpr Connection openedConnection = 7;

    // What one call with a given key and command comes back with.
    struct Reply {
        std::int32_t callStatus = 0;
        std::size_t outputSize = SMCKeyData::size;
        std::uint8_t result = 0;
        std::uint32_t dataSize = 0;
        std::uint32_t dataType = 0;
        std::array<std::uint8_t, 32> bytes{};
    };

    // One structure call as the fake saw it.
    struct Call {
        Connection connection = 0;
        std::uint32_t selector = 0;
        std::size_t inputSize = 0;
        std::size_t outputCapacity = 0;  // the output span's size
        std::size_t outputSizeOnEntry = 0;
        bool outputZeroedOnEntry = false;
        SMCKeyData input;
    };

    // How `open` answers.
    Opening opening{
        .outcome = Opening::Outcome::opened, .connection = openedConnection, .status = 0};

    // A key whose key info gives `type` and `size` and whose read gives `value` in the first
    // value bytes.
    void prepareKey(std::string_view key, std::string_view type, std::uint32_t size,
                    std::span<const std::uint8_t> value);
    // A "flt " key of 4 bytes holding `value`.
    void prepareFloatKey(std::string_view key, float value);
    // The reply to `command` on `key`, prepared with no fields set when there was none, so that
    // a test can change one field of it.
    Reply& reply(std::string_view key, std::uint8_t command);

    std::size_t callCount() const noexcept { return calls.size(); }
    std::size_t callCount(std::string_view key) const noexcept;

    std::vector<Call> calls;
    int openCount = 0;
    std::vector<Connection> closedConnections;
    std::size_t callCountAtLastClose = 0;
    // Wall-clock times of the last structure call and of the last close. The clock has moved on
    // before either returns, so a time taken after one of them is strictly later.
    double lastCallAt = 0.0;
    double closedAt = 0.0;

    Opening open() noexcept override;
    std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                  std::span<const std::byte> input, std::span<std::byte> output,
                                  std::size_t& outputSize) noexcept override;
    void close(Connection connection) noexcept override;

private:
    std::map<std::pair<std::uint32_t, std::uint8_t>, Reply> replies_;
};

}  // namespace tallowbeck::testing
