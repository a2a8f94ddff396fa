#pragma once

#include <cstdint>

#include "TallowbeckCore/history/SystemThermalState.hpp"

namespace tallowbeck::cli {

// Why a keep-awake session ended, and so the status `tallowbeck awake` exits with.
struct AwakeEnding {
    enum class Reason { expired, stopSignal, commandExited, processExited, thermalPressure };

    static constexpr int normalEndStatus = 0;
    static constexpr int thermalPressureStatus = 3;

    Reason reason = Reason::expired;
    // The signal for stopSignal, the command's exit status (128 plus the signal that killed it,
    // as a shell gives it) for commandExited, the process id for processExited.
    std::int32_t detail = 0;
    SystemThermalState thermalState = SystemThermalState::nominal;  // for thermalPressure

    static AwakeEnding expired() noexcept { return {Reason::expired, 0, {}}; }
    static AwakeEnding stopSignal(int signal) noexcept { return {Reason::stopSignal, signal, {}}; }
    static AwakeEnding commandExited(int status) noexcept {
        return {Reason::commandExited, status, {}};
    }
    static AwakeEnding processExited(std::int32_t pid) noexcept {
        return {Reason::processExited, pid, {}};
    }
    static AwakeEnding thermalPressure(SystemThermalState state) noexcept {
        return {Reason::thermalPressure, 0, state};
    }

    // 0 for a normal end, 3 when heat ended it, the command's own status when it ended.
    int exitStatus() const noexcept {
        switch (reason) {
            case Reason::commandExited:
                return detail;
            case Reason::thermalPressure:
                return thermalPressureStatus;
            default:
                return normalEndStatus;
        }
    }

    friend bool operator==(const AwakeEnding&, const AwakeEnding&) = default;
};

}  // namespace tallowbeck::cli
