#include "TallowbeckCore/platform/darwin/DarwinRegistryProperties.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <string>

#include "TallowbeckCore/platform/darwin/CFOwned.hpp"

namespace tallowbeck {
namespace {

using Property = RegistryProperties::Property;
using Kind = Property::Kind;

Property propertyOf(io_registry_entry_t service, std::string_view key) noexcept {
    const CFOwned<CFStringRef> name = makeCFString(key);
    // A key that cannot be made into a string names no property.
    const CFOwned<CFTypeRef> value{
        name ? IORegistryEntryCreateCFProperty(service, name.get(), kCFAllocatorDefault, 0)
             : nullptr};
    if (!value) {
        return {.kind = Kind::propertyMissing, .number = 0.0};
    }
    if (CFGetTypeID(value.get()) != CFNumberGetTypeID()) {
        return {.kind = Kind::otherKind, .number = 0.0};
    }
    // Every registry number fits a double closely enough; a lossy conversion still stores the
    // nearest value.
    double number = 0.0;
    CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberDoubleType, &number);
    return {.kind = Kind::number, .number = number};
}

}  // namespace

RegistryProperties::Property DarwinRegistryProperties::property(std::string_view serviceClass,
                                                                std::string_view key) noexcept {
    // The class name must be a terminated string; the matching dictionary is consumed by the
    // lookup.
    const std::string className(serviceClass);
    const io_service_t service =
        IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching(className.c_str()));
    if (service == IO_OBJECT_NULL) {
        return {.kind = Kind::serviceMissing, .number = 0.0};
    }
    const Property found = propertyOf(service, key);
    IOObjectRelease(service);
    return found;
}

RegistryProperties& RegistryProperties::system() {
    static DarwinRegistryProperties instance;
    return instance;
}

}  // namespace tallowbeck
