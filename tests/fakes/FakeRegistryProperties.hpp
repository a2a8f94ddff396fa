#pragma once

#include <cstddef>
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

    // What an answer that is not a number carries in its number field, so that a reader who
    // takes it anyway is caught: a plausible battery temperature and a closed lid.
    static constexpr double meaninglessNumber = 3012.0;

    void prepareNumber(std::string_view serviceClass, std::string_view key, double number);
    void prepareKind(std::string_view serviceClass, std::string_view key, Property::Kind kind);

    std::size_t lookupCount(std::string_view serviceClass, std::string_view key) const;

    std::vector<Lookup> lookups;

    Property property(std::string_view serviceClass, std::string_view key) noexcept override;

private:
    std::map<Lookup, Property> properties_;
};

}  // namespace tallowbeck::testing
