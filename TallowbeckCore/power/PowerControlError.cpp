#include "TallowbeckCore/power/PowerControlError.hpp"

namespace tallowbeck {
namespace {

// The code is written as a signed decimal right before the closing ")." so that a negative
// IOKit status reads as the kernel returned it.
std::string withCode(const char* prefix, std::int32_t code) {
    return prefix + std::to_string(code) + ").";
}

}  // namespace

PowerControlError::PowerControlError(Kind kind, std::optional<std::int32_t> code,
                                     const std::string& message)
    : std::runtime_error(message), kind_(kind), code_(code) {}

PowerControlError PowerControlError::assertionFailed(std::int32_t code) {
    return {Kind::assertionFailed, code,
            withCode("macOS rejected the keep-awake assertion (", code)};
}

PowerControlError PowerControlError::assertionReleaseFailed(std::int32_t code) {
    return {Kind::assertionReleaseFailed, code,
            withCode("macOS could not release the keep-awake assertion (", code)};
}

PowerControlError PowerControlError::rootDomainOpenFailed(std::int32_t code) {
    return {Kind::rootDomainOpenFailed, code,
            withCode("Quillmoss could not open the power root domain (", code)};
}

PowerControlError PowerControlError::clamshellUpdateFailed(std::int32_t code) {
    return {Kind::clamshellUpdateFailed, code,
            withCode("macOS rejected the closed-lid setting (", code)};
}

PowerControlError PowerControlError::rootDomainUnavailable() {
    return {Kind::rootDomainUnavailable, std::nullopt,
            "The macOS power root domain is unavailable."};
}

}  // namespace tallowbeck
