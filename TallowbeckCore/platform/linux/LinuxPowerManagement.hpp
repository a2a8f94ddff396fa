#pragma once

#include "TallowbeckCore/platform/PowerManagement.hpp"

namespace tallowbeck {

// Linux has neither IOKit power assertions nor a power root domain, so this layer answers as
// macOS does when they are missing: no assertion can be created, so none can be held and every
// release finds nothing; disabling closed-lid sleep finds no root domain. Re-enabling it is
// accepted, because nothing on Linux can have been left disabled by this library, and that lets
// a caller that retries the restore until it succeeds (the watchdog) come to an end.
class LinuxPowerManagement final : public PowerManagement {
public:
    AssertionCreation createAssertion(std::string_view type, std::uint32_t level,
                                      std::string_view name) override;
    std::int32_t releaseAssertion(std::uint32_t assertionID) override;
    RootDomainCall setClamshellSleepDisabled(bool disabled) override;
};

}  // namespace tallowbeck
