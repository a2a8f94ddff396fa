#pragma once

#include "TallowbeckCore/platform/PowerManagement.hpp"

namespace tallowbeck {

// IOKit power assertions and the clamshell-sleep-state call of the power root domain's user
// client. Every root-domain call opens its own connection and closes it again.
class DarwinPowerManagement final : public PowerManagement {
public:
    AssertionCreation createAssertion(std::string_view type, std::uint32_t level,
                                      std::string_view name) override;
    std::int32_t releaseAssertion(std::uint32_t assertionID) override;
    RootDomainCall setClamshellSleepDisabled(bool disabled) override;
};

}  // namespace tallowbeck
