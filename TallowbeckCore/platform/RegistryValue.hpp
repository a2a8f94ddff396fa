#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tallowbeck {

// A registry property as the registry holds it: its type, and its value where the type has one.
// How a value is read as a number is decided here, once, for every lookup.
class RegistryValue {
public:
    enum class Type { serviceMissing, propertyMissing, number, boolean, text, other };

    static RegistryValue missingService() noexcept { return RegistryValue(Type::serviceMissing); }
    static RegistryValue missingProperty() noexcept { return RegistryValue(Type::propertyMissing); }
    static RegistryValue number(double value) noexcept { return RegistryValue(value); }
    static RegistryValue boolean(bool value) noexcept { return RegistryValue(value); }
    static RegistryValue text(std::string value) noexcept {
        return RegistryValue(std::move(value));
    }
    // Data, a dictionary, an array: nothing the library reads.
    static RegistryValue ofOtherType() noexcept { return RegistryValue(Type::other); }

    Type type() const noexcept;

    // A number as it is, and a boolean as 1 (true) or 0 (false), since the registry publishes
    // some flags as booleans and others as numbers. Nothing for every other type.
    std::optional<double> asNumber() const noexcept;

    friend bool operator==(const RegistryValue&, const RegistryValue&) = default;

private:
    explicit RegistryValue(Type absentOrOther) noexcept : value_(absentOrOther) {}
    explicit RegistryValue(double number) noexcept : value_(number) {}
    explicit RegistryValue(bool flag) noexcept : value_(flag) {}
    explicit RegistryValue(std::string text) noexcept : value_(std::move(text)) {}

    // A Type only for the types without a value.
    std::variant<Type, double, bool, std::string> value_;
};

}  // namespace tallowbeck
