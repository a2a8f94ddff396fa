#include "tests/simulated/FileBackedSMC.hpp"

#include <exception>

namespace tallowbeck::testing {

// A file that cannot be read is a controller that is not there.
SMCUserClient::Opening FileBackedSMC::open() noexcept {
    try {
        controller_.state = SimulatedSMCState::load(file_);
        if (lastClosed_) {
            controller_.advance(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - *lastClosed_)
                    .count());
        }
    } catch (const std::exception&) {
        return {.outcome = Opening::Outcome::serviceMissing, .connection = 0, .status = 0};
    }
    return controller_.open();
}

std::int32_t FileBackedSMC::callStructMethod(Connection connection, std::uint32_t selector,
                                             std::span<const std::byte> input,
                                             std::span<std::byte> output,
                                             std::size_t& outputSize) noexcept {
    return controller_.callStructMethod(connection, selector, input, output, outputSize);
}

void FileBackedSMC::close(Connection connection) noexcept {
    controller_.close(connection);
    lastClosed_ = std::chrono::steady_clock::now();
    // The simulator keeps a log of every call, which a helper running for long does not need.
    controller_.calls.clear();
    try {
        controller_.state.save(file_);
    } catch (const std::exception&) {
        // The next open reads the file as it was: the change is lost, which the helper finds
        // when it reads the fans back.
    }
}

}  // namespace tallowbeck::testing
