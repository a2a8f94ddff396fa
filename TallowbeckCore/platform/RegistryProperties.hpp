#pragma once

#include <string_view>

namespace tallowbeck {

// Properties of registry services, each looked up on the first service matching a class name.
// The service object is released after every lookup.
class RegistryProperties {
public:
    struct Property {
        enum class Kind { serviceMissing, propertyMissing, number, otherKind };
        Kind kind = Kind::serviceMissing;
        double number = 0.0;  // meaningful only for `number`
    };

    virtual ~RegistryProperties() = default;

    virtual Property property(std::string_view serviceClass, std::string_view key) noexcept = 0;

    static RegistryProperties& system();
};

}  // namespace tallowbeck
