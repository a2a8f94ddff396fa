#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace tallowbeck {

// Why the fans could not be read or driven. what() is a fixed English description of the kind,
// or the cause where one is given.
class FanBoostHardwareError : public std::runtime_error {
public:
    enum class Kind {
        unsupported,          // not a supported model, or fans and keys not as expected
        unavailable,          // no fan controller service, or it would not open
        invalidReading,       // a fan value that cannot be decoded or makes no sense
        rejected,             // a call or a change the controller did not take, or no rights
        competingController,  // a fan forced by someone else
    };

    // `status` is the platform's status where a platform call failed with one.
    explicit FanBoostHardwareError(Kind kind, std::optional<std::int32_t> status = std::nullopt);
    // The kind with what exactly was found, where the kind alone would not say: an unsupported
    // fan count, key or target, rather than an unsupported model.
    FanBoostHardwareError(Kind kind, const std::string& cause);

    Kind kind() const noexcept { return kind_; }
    std::optional<std::int32_t> status() const noexcept { return status_; }

    static const char* description(Kind kind) noexcept;

private:
    Kind kind_;
    std::optional<std::int32_t> status_;
};

}  // namespace tallowbeck
