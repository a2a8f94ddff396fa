#include "TallowbeckCore/platform/darwin/DarwinRegistryProperties.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstring>
#include <string>

#include "TallowbeckCore/platform/darwin/CFOwned.hpp"

namespace tallowbeck {
namespace {

// The string's UTF-8 bytes; empty when it cannot be converted.
std::string textOf(CFStringRef string) noexcept {
    const CFIndex capacity =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8);
    if (capacity == kCFNotFound) {
        return {};
    }
    // One more byte for the terminating zero.
    std::string text(static_cast<std::size_t>(capacity) + 1, '\0');
    if (!CFStringGetCString(string, text.data(), capacity + 1, kCFStringEncodingUTF8)) {
        return {};
    }
    text.resize(std::strlen(text.c_str()));
    return text;
}

// Only the type and the value are handed over: what counts as a number is decided above the
// platform layer.
RegistryValue valueOf(CFTypeRef value) noexcept {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFNumberGetTypeID()) {
        // Every registry number fits a double closely enough; a lossy conversion still stores
        // the nearest value.
        double number = 0.0;
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &number);
        return RegistryValue::number(number);
    }
    if (type == CFBooleanGetTypeID()) {
        return RegistryValue::boolean(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
    }
    if (type == CFStringGetTypeID()) {
        return RegistryValue::text(textOf(static_cast<CFStringRef>(value)));
    }
    return RegistryValue::ofOtherType();
}

RegistryValue propertyOf(io_registry_entry_t service, std::string_view key) noexcept {
    const CFOwned<CFStringRef> name = makeCFString(key);
    // A key that cannot be made into a string names no property.
    const CFOwned<CFTypeRef> value{
        name ? IORegistryEntryCreateCFProperty(service, name.get(), kCFAllocatorDefault, 0)
             : nullptr};
    return value ? valueOf(value.get()) : RegistryValue::missingProperty();
}

}  // namespace

RegistryValue DarwinRegistryProperties::property(std::string_view serviceClass,
                                                 std::string_view key) noexcept {
    // The class name must be a terminated string; the matching dictionary is consumed by the
    // lookup.
    const std::string className(serviceClass);
    const io_service_t service =
        IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching(className.c_str()));
    if (service == IO_OBJECT_NULL) {
        return RegistryValue::missingService();
    }
    RegistryValue found = propertyOf(service, key);
    IOObjectRelease(service);
    return found;
}

RegistryProperties& RegistryProperties::system() {
    static DarwinRegistryProperties instance;
    return instance;
}

}  // namespace tallowbeck
