#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace tallowbeck {

// Core Foundation objects from a Create or Copy call, released when their owner goes away.
struct CFReleaser {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};

template <typename Reference>
using CFOwned = std::unique_ptr<std::remove_pointer_t<Reference>, CFReleaser>;

}  // namespace tallowbeck
