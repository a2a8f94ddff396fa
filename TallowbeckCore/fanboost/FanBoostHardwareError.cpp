#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"

namespace tallowbeck {

FanBoostHardwareError::FanBoostHardwareError(Kind kind, std::optional<std::int32_t> status)
    : std::runtime_error(description(kind)), kind_(kind), status_(status) {}

FanBoostHardwareError::FanBoostHardwareError(Kind kind, const std::string& cause)
    : std::runtime_error(cause), kind_(kind) {}

const char* FanBoostHardwareError::description(Kind kind) noexcept {
    switch (kind) {
        case Kind::unsupported:
            return "this Mac model is not supported";
        case Kind::unavailable:
            return "the system management controller is unavailable";
        case Kind::invalidReading:
            return "the fan controller gave an invalid reading";
        case Kind::rejected:
            return "the fan controller rejected the request";
        case Kind::competingController:
            return "another fan controller is driving the fans";
    }
    return "unknown fan control error";
}

}  // namespace tallowbeck
