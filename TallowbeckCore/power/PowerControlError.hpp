#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace tallowbeck {

// A failed keep-awake assertion or closed-lid sleep change, with the platform status where the
// platform gave one. what() is the fixed English sentence shown to the user.
class PowerControlError : public std::runtime_error {
public:
    enum class Kind {
        assertionFailed,
        assertionReleaseFailed,
        rootDomainOpenFailed,
        clamshellUpdateFailed,
        rootDomainUnavailable,
    };

    static PowerControlError assertionFailed(std::int32_t code);
    static PowerControlError assertionReleaseFailed(std::int32_t code);
    static PowerControlError rootDomainOpenFailed(std::int32_t code);
    static PowerControlError clamshellUpdateFailed(std::int32_t code);
    static PowerControlError rootDomainUnavailable();

    Kind kind() const noexcept { return kind_; }
    // Empty only for rootDomainUnavailable.
    std::optional<std::int32_t> code() const noexcept { return code_; }

    friend bool operator==(const PowerControlError& left, const PowerControlError& right) noexcept {
        return left.kind_ == right.kind_ && left.code_ == right.code_;
    }

private:
    PowerControlError(Kind kind, std::optional<std::int32_t> code, const std::string& message);

    Kind kind_;
    std::optional<std::int32_t> code_;
};

}  // namespace tallowbeck
