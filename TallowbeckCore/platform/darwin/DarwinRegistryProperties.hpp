#pragma once

#include "TallowbeckCore/platform/RegistryProperties.hpp"

namespace tallowbeck {

// Registry properties through IOKit: the first service matching the class, its property read as
// a Core Foundation object. Numbers of any width come out as doubles; booleans and strings keep
// their own types.
class DarwinRegistryProperties final : public RegistryProperties {
public:
    RegistryValue property(std::string_view serviceClass, std::string_view key) noexcept override;
};

}  // namespace tallowbeck
