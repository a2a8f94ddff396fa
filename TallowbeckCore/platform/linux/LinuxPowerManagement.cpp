#include "TallowbeckCore/platform/linux/LinuxPowerManagement.hpp"

#include "TallowbeckCore/platform/IOReturn.hpp"

namespace tallowbeck {

PowerManagement::AssertionCreation LinuxPowerManagement::createAssertion(std::string_view,
                                                                         std::uint32_t,
                                                                         std::string_view) {
    return {.status = IOReturn::unsupported, .assertionID = 0};
}

std::int32_t LinuxPowerManagement::releaseAssertion(std::uint32_t) { return IOReturn::notFound; }

PowerManagement::RootDomainCall LinuxPowerManagement::setClamshellSleepDisabled(bool disabled) {
    using Outcome = RootDomainCall::Outcome;
    return {.outcome = disabled ? Outcome::serviceMissing : Outcome::accepted, .status = 0};
}

PowerManagement& PowerManagement::system() {
    static LinuxPowerManagement linuxPowerManagement;
    return linuxPowerManagement;
}

}  // namespace tallowbeck
