#include "TallowbeckCore/platform/darwin/DarwinPowerManagement.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/pwr_mgt/IOPMLib.h>

#include "TallowbeckCore/platform/darwin/CFOwned.hpp"

namespace tallowbeck {
namespace {

constexpr std::uint32_t clamshellSleepStateSelector = 12;

std::int32_t callClamshellSleepState(io_connect_t connection, bool disabled) noexcept {
    const std::uint64_t input = disabled ? 1 : 0;
    std::uint32_t outputCount = 0;
    return IOConnectCallScalarMethod(connection, clamshellSleepStateSelector, &input, 1, nullptr,
                                     &outputCount);
}

}  // namespace

PowerManagement::AssertionCreation DarwinPowerManagement::createAssertion(std::string_view type,
                                                                          std::uint32_t level,
                                                                          std::string_view name) {
    const CFOwned<CFStringRef> assertionType = makeCFString(type);
    const CFOwned<CFStringRef> assertionName = makeCFString(name);
    if (!assertionType || !assertionName) {
        return {.status = kIOReturnNoMemory, .assertionID = 0};
    }
    IOPMAssertionID assertionID = 0;
    const std::int32_t status =
        IOPMAssertionCreateWithName(assertionType.get(), level, assertionName.get(), &assertionID);
    return {.status = status, .assertionID = assertionID};
}

std::int32_t DarwinPowerManagement::releaseAssertion(std::uint32_t assertionID) {
    return IOPMAssertionRelease(assertionID);
}

PowerManagement::RootDomainCall DarwinPowerManagement::setClamshellSleepDisabled(bool disabled) {
    using Outcome = RootDomainCall::Outcome;
    // The matching dictionary is consumed by the lookup.
    const io_service_t service =
        IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("IOPMrootDomain"));
    if (service == IO_OBJECT_NULL) {
        return {.outcome = Outcome::serviceMissing, .status = 0};
    }
    io_connect_t connection = IO_OBJECT_NULL;
    const std::int32_t openStatus = IOServiceOpen(service, mach_task_self(), 0, &connection);
    if (openStatus != KERN_SUCCESS) {
        IOObjectRelease(service);
        return {.outcome = Outcome::openFailed, .status = openStatus};
    }
    const std::int32_t callStatus = callClamshellSleepState(connection, disabled);
    IOServiceClose(connection);
    IOObjectRelease(service);
    if (callStatus != KERN_SUCCESS) {
        return {.outcome = Outcome::callFailed, .status = callStatus};
    }
    return {.outcome = Outcome::accepted, .status = 0};
}

PowerManagement& PowerManagement::system() {
    static DarwinPowerManagement instance;
    return instance;
}

}  // namespace tallowbeck
