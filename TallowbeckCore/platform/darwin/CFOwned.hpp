#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string_view>
#include <type_traits>

namespace tallowbeck {

// Core Foundation objects from a Create or Copy call, released when their owner goes away.
struct CFReleaser {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};

template <typename Reference>
using CFOwned = std::unique_ptr<std::remove_pointer_t<Reference>, CFReleaser>;

// A Core Foundation string holding UTF-8 `text`; empty when it cannot be made.
inline CFOwned<CFStringRef> makeCFString(std::string_view text) noexcept {
    return CFOwned<CFStringRef>{
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false)};
}

}  // namespace tallowbeck
