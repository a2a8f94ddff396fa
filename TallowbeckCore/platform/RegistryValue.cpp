#include "TallowbeckCore/platform/RegistryValue.hpp"

namespace tallowbeck {

RegistryValue::Type RegistryValue::type() const noexcept {
    if (const Type* withoutValue = std::get_if<Type>(&value_)) {
        return *withoutValue;
    }
    if (std::holds_alternative<double>(value_)) {
        return Type::number;
    }
    return std::holds_alternative<bool>(value_) ? Type::boolean : Type::text;
}

std::optional<double> RegistryValue::asNumber() const noexcept {
    if (const double* number = std::get_if<double>(&value_)) {
        return *number;
    }
    if (const bool* flag = std::get_if<bool>(&value_)) {
        return *flag ? 1.0 : 0.0;
    }
    return std::nullopt;
}

}  // namespace tallowbeck
