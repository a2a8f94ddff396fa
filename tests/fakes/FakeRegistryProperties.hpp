#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TallowbeckCore/platform/RegistryProperties.hpp"

namespace tallowbeck::testing {

// Registry properties that a test prepares one (service, key) at a time; every other lookup
// finds no service, as on a machine without it. Records every lookup in order.
class FakeRegistryProperties final : public RegistryProperties {
public:
    using Lookup = std::pair<std::string, std::string>;

    void prepare(std::string_view serviceClass, std::string_view key, RegistryValue value);

    std::vector<Lookup> lookups;

    RegistryValue property(std::string_view serviceClass, std::string_view key) noexcept override;

private:
    std::map<Lookup, RegistryValue> properties_;
};

}  // namespace tallowbeck::testing
