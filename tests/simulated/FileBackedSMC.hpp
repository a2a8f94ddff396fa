#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "tests/simulated/SimulatedSMC.hpp"

namespace tallowbeck::testing {

// The simulated controller with its state in a file, so that a helper process drives fans that
// a test reads and prepares from outside: each connection loads the file when it opens and
// saves it, in one step, when it closes. Every fan operation opens a connection of its own.
// Between connections the firmware's clock follows the steady clock, so that actual speeds
// move towards their targets as they would.
class FileBackedSMC final : public SMCUserClient {
public:
    explicit FileBackedSMC(std::filesystem::path file) : file_(std::move(file)) {}

    Opening open() noexcept override;
    std::int32_t callStructMethod(Connection connection, std::uint32_t selector,
                                  std::span<const std::byte> input, std::span<std::byte> output,
                                  std::size_t& outputSize) noexcept override;
    void close(Connection connection) noexcept override;

private:
    std::filesystem::path file_;
    SimulatedSMC controller_;
    std::optional<std::chrono::steady_clock::time_point> lastClosed_;
};

}  // namespace tallowbeck::testing
